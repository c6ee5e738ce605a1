// The kernel's wait on a word, and deadlines on its monotonic clock.
#pragma once

#include <sys/syscall.h>

#include <atomic>
#include <cstdint>
#include <ctime>
#include <span>

#include "platform/win32/win32_types.h"

namespace zdr::platform {

// 32-bit programs have a call of their own for times of 64 bits.
#ifdef SYS_futex_time64
inline constexpr long kFutexCall = SYS_futex_time64;
#else
inline constexpr long kFutexCall = SYS_futex;
#endif

using FutexWord = std::atomic<uint32_t>;
static_assert(sizeof(FutexWord) == 4 && FutexWord::is_always_lock_free);

// A word is private to the process, or in memory shared with others.
enum class FutexScope { kProcess, kShared };

// A point in time, or never.
class Deadline {
 public:
  // `milliseconds` from now; INFINITE is never.
  static Deadline after(DWORD milliseconds) noexcept;
  Deadline earlier_of(DWORD milliseconds_from_now) const noexcept;

  bool passed() const noexcept;
  const timespec* when() const noexcept { return never_ ? nullptr : &when_; }

 private:
  timespec when_{};
  bool never_ = true;
};

// A word and the value that makes a thread sleep on it.
struct FutexWait {
  FutexWord* word;
  uint32_t expected;
  FutexScope scope;
};

// Sleeps while every word (at least one) has its expected value, at most until the deadline. May wake
// spuriously, so the caller checks the words again.
void futex_wait(std::span<const FutexWait> waits, const Deadline& deadline) noexcept;
inline void futex_wait(const FutexWait& wait, const Deadline& deadline) noexcept {
  futex_wait(std::span(&wait, 1), deadline);
}

// Wakes at most `count` threads that sleep on the word.
void futex_wake(FutexWord& word, int count, FutexScope scope) noexcept;

}  // namespace zdr::platform
