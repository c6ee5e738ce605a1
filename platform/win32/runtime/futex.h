// The kernel's wait-on-a-word, and deadlines on its monotonic clock.
#pragma once

#include <atomic>
#include <cstdint>
#include <ctime>
#include <span>

#include "platform/win32/win32_types.h"

namespace zdr::platform {

using FutexWord = std::atomic<uint32_t>;
static_assert(sizeof(FutexWord) == 4 && FutexWord::is_always_lock_free);

// Whether a word is private to the process or lies in memory shared with others.
enum class FutexScope { kProcess, kShared };

// A point in time, or never.
class Deadline {
 public:
  // `milliseconds` from now; INFINITE is never.
  static Deadline after(DWORD milliseconds) noexcept;
  Deadline earlier_of(DWORD milliseconds_from_now) const noexcept;

  bool never() const noexcept { return never_; }
  bool passed() const noexcept;
  const timespec* when() const noexcept { return never_ ? nullptr : &when_; }

 private:
  timespec when_{};
  bool never_ = true;
};

// Sleeps while the word holds `expected`, at most until the deadline. May return early for no reason; the
// caller looks at the word again. False only when the deadline has passed.
bool futex_wait(FutexWord& word, uint32_t expected, const Deadline& deadline, FutexScope scope) noexcept;
void futex_wake(FutexWord& word, int count, FutexScope scope) noexcept;
inline void futex_wake_all(FutexWord& word, FutexScope scope) noexcept {
  futex_wake(word, INT32_MAX, scope);
}

// Tells the processor that the caller spins.
inline void pause_briefly() noexcept {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_ia32_pause();
#elif defined(__aarch64__)
  __asm__ __volatile__("yield");
#endif
}

struct FutexExpectation {
  FutexWord* word;
  uint32_t expected;
  FutexScope scope;
};
// As futex_wait on several words at once: returns when any of them changes.
bool futex_wait_any(std::span<const FutexExpectation> words, const Deadline& deadline) noexcept;

}  // namespace zdr::platform
