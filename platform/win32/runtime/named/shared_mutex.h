// Named mutexes: a robust mutex in shared memory. The kernel marks it when its owner's process is killed;
// when only the owner's thread ends, the runtime's thread-exit hook releases it with a mark of its own.
#pragma once

#include <string>

#include "platform/win32/runtime/named/named_objects.h"
#include "platform/win32/runtime/waits/owned_mutex.h"

namespace zdr::platform {

class SharedMutex final : public OwnedMutex {
 public:
  static constexpr ObjectKind kKind = ObjectKind::kSharedMutex;
  SharedMutex(SharedState state, std::string key)
      : OwnedMutex(kKind), state_(std::move(state)), key_(std::move(key)) {}
  ~SharedMutex() override;

  SharedState& state() noexcept { return state_; }
  SharedPage& page() const noexcept { return state_.page(); }
  const std::string& key() const noexcept { return key_; }

  // As WaitForSingleObject. After WAIT_OBJECT_0 and WAIT_ABANDONED the caller owns the mutex, for the first
  // time when `depth` is 1.
  DWORD wait(DWORD milliseconds) noexcept;
  uint32_t depth() const noexcept { return depth_; }

  bool release_one() noexcept override;
  void unlock() noexcept override;
  void abandon() noexcept override;
  // Undoes the only wait without a word to waits on several objects: theirs would be one that tried the
  // mutex, and telling it of its own return would wake it for ever. `abandoned`: as it was found.
  void put_back(bool abandoned) noexcept;

 private:
  SharedState state_;
  const std::string key_;
  std::atomic<uint32_t> owner_{0};  // thread of this process, 0 when none
  uint32_t depth_ = 0;              // guarded by ownership
};

}  // namespace zdr::platform
