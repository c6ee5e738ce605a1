// Futex system calls.
#include "platform/win32/runtime/futex.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>

namespace zdr::platform {

namespace {

constexpr int64_t kNanosecondsPerSecond = 1'000'000'000;
// Kernels before 5.16 cannot wait on several words, and some containers forbid it: there one word is watched
// and the others are polled at this step.
constexpr DWORD kPollMilliseconds = 5;

timespec now() noexcept {
  timespec time;
  clock_gettime(CLOCK_MONOTONIC, &time);
  return time;
}

bool is_before(const timespec& a, const timespec& b) noexcept {
  return a.tv_sec != b.tv_sec ? a.tv_sec < b.tv_sec : a.tv_nsec < b.tv_nsec;
}

uint32_t* address_of(FutexWord& word) noexcept {
  return reinterpret_cast<uint32_t*>(&word);
}

}  // namespace

Deadline Deadline::after(DWORD milliseconds) noexcept {
  Deadline deadline;
  if (milliseconds == INFINITE) return deadline;
  deadline.never_ = false;
  deadline.when_ = now();
  const int64_t nanoseconds = deadline.when_.tv_nsec + int64_t{milliseconds % 1000} * 1'000'000;
  deadline.when_.tv_sec += milliseconds / 1000 + nanoseconds / kNanosecondsPerSecond;
  deadline.when_.tv_nsec = nanoseconds % kNanosecondsPerSecond;
  return deadline;
}

Deadline Deadline::earlier_of(DWORD milliseconds_from_now) const noexcept {
  const Deadline other = after(milliseconds_from_now);
  return never_ || is_before(other.when_, when_) ? other : *this;
}

bool Deadline::passed() const noexcept {
  return !never_ && !is_before(now(), when_);
}

bool futex_wait(FutexWord& word, uint32_t expected, const Deadline& deadline, FutexScope scope) noexcept {
  const int operation = FUTEX_WAIT_BITSET | (scope == FutexScope::kProcess ? FUTEX_PRIVATE_FLAG : 0);
  const long result = syscall(SYS_futex, address_of(word), operation, expected, deadline.when(), nullptr,
                              FUTEX_BITSET_MATCH_ANY);
  return result == 0 || errno != ETIMEDOUT;
}

void futex_wake(FutexWord& word, int count, FutexScope scope) noexcept {
  const int operation = FUTEX_WAKE | (scope == FutexScope::kProcess ? FUTEX_PRIVATE_FLAG : 0);
  syscall(SYS_futex, address_of(word), operation, count, nullptr, nullptr, 0);
}

bool futex_wait_any(std::span<const FutexExpectation> words, const Deadline& deadline) noexcept {
  std::array<futex_waitv, FUTEX_WAITV_MAX> waiters{};
  for (size_t i = 0; i < words.size(); ++i) {
    const bool is_private = words[i].scope == FutexScope::kProcess;
    waiters[i].val = words[i].expected;
    waiters[i].uaddr = reinterpret_cast<uintptr_t>(words[i].word);
    waiters[i].flags = FUTEX_32 | (is_private ? FUTEX_PRIVATE_FLAG : 0u);
  }
  const long result =
      syscall(SYS_futex_waitv, waiters.data(), words.size(), 0u, deadline.when(), CLOCK_MONOTONIC);
  if (result >= 0 || errno == EAGAIN || errno == EINTR) return true;
  if (errno == ETIMEDOUT) return false;
  futex_wait(*words[0].word, words[0].expected, deadline.earlier_of(kPollMilliseconds), words[0].scope);
  return !deadline.passed();
}

}  // namespace zdr::platform
