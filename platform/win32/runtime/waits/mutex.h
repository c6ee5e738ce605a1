// Mutexes of one process: recursive, owned by a thread, and abandoned when that thread ends.
#pragma once

#include <atomic>
#include <cstdint>

#include "platform/win32/runtime/futex.h"
#include "platform/win32/runtime/handle_table.h"
#include "platform/win32/runtime/kernel_object.h"

namespace zdr::platform {

// The word holds the owner's thread id, and a mark while threads may sleep on it. Without the mark, locking
// and unlocking are one atomic operation each. A released mutex is free for any thread, so that a busy owner
// need not wait for another thread to wake up.
class MutexObject final : public KernelObject {
 public:
  static constexpr ObjectKind kKind = ObjectKind::kMutex;
  MutexObject() noexcept : KernelObject(kKind) {}

  // WaitForSingleObject. When the thread becomes the owner, the mutex takes over `pin`, which keeps it alive
  // until its release even if its handle is closed.
  DWORD lock(Pin& pin, DWORD milliseconds) noexcept;

  // ReleaseMutex: NO_ERROR, ERROR_INVALID_HANDLE or ERROR_NOT_OWNER.
  static DWORD release(HANDLE handle) noexcept;

  // Releases all mutexes of the calling thread, which is ending, and marks them as abandoned.
  static void abandon_all() noexcept;

 private:
  bool try_lock(uint32_t thread) noexcept;
  bool spin(uint32_t thread) noexcept;
  bool sleep(uint32_t thread, const Deadline& deadline) noexcept;
  void unlock() noexcept;
  // Takes the mutex that `link` points at off the thread's list, releases it and drops its pin.
  static void release_owned(MutexObject*& link) noexcept;

  FutexWord word_{0};
  // Guarded by ownership:
  uint32_t depth_ = 0;
  bool abandoned_ = false;
  HandleSlot* owner_pin_ = nullptr;
  MutexObject* next_owned_ = nullptr;
};

}  // namespace zdr::platform
