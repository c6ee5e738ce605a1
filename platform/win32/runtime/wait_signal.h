// The signal of an event or a thread: one word, on which waiting threads of this process or of several sleep.
//
// No lock is held at any time, so a process that is killed at any point leaves the word usable.
#pragma once

#include <climits>

#include "platform/win32/runtime/futex.h"
#include "platform/win32/runtime/kernel_object.h"

namespace zdr::platform {

class WaitSignal : public KernelObject {
 public:
  static constexpr uint32_t kUnset = 0;
  static constexpr uint32_t kSet = 1;

  // An event or thread of this process alone.
  WaitSignal(ObjectKind kind, bool manual_reset, bool set) noexcept
      : KernelObject(kind), own_word_(set ? kSet : kUnset), manual_reset_(manual_reset) {}

  void set() noexcept {
    word_.store(kSet, std::memory_order_release);
    futex_wake(word_, manual_reset_ ? INT_MAX : 1, scope_);
  }
  void reset() noexcept { word_.store(kUnset, std::memory_order_relaxed); }

  // True if the signal is set. An auto-reset one is taken: of several threads that try, one succeeds.
  bool try_take() noexcept {
    if (manual_reset_) return word_.load(std::memory_order_acquire) == kSet;
    uint32_t seen = kSet;
    return word_.compare_exchange_strong(seen, kUnset, std::memory_order_acquire, std::memory_order_relaxed);
  }

  bool is_shared() const noexcept { return scope_ == FutexScope::kShared; }
  FutexWait sleep_while_unset() noexcept { return {&word_, kUnset, scope_}; }
  // Passes on a wake-up that may have reached a thread that ended its wait for another reason.
  void wake_next_if_set() noexcept {
    if (word_.load(std::memory_order_relaxed) == kSet) futex_wake(word_, 1, scope_);
  }

 protected:
  // An event whose word lies in memory shared between processes and outlives the object.
  WaitSignal(FutexWord& shared_word, bool manual_reset) noexcept
      : KernelObject(ObjectKind::kEvent),
        word_(shared_word),
        manual_reset_(manual_reset),
        scope_(FutexScope::kShared) {}

 private:
  FutexWord own_word_{kUnset};
  FutexWord& word_ = own_word_;
  const bool manual_reset_;
  const FutexScope scope_ = FutexScope::kProcess;
};

}  // namespace zdr::platform
