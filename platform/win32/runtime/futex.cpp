// Futex system calls and deadlines.
#include "platform/win32/runtime/futex.h"

#include <linux/futex.h>
#include <unistd.h>

#include <array>
#include <cerrno>

namespace zdr::platform {

namespace {

static_assert(sizeof(time_t) == 8);

constexpr int64_t kNanosecondsPerSecond = 1'000'000'000;
// Kernels before 5.16 cannot wait on several words, and some containers forbid it: such a wait sleeps on its
// first word and checks all of them at this interval.
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

int private_flag(FutexScope scope) noexcept {
  return scope == FutexScope::kProcess ? FUTEX_PRIVATE_FLAG : 0;
}

void wait_on_one(const FutexWait& wait, const Deadline& deadline) noexcept {
  syscall(kFutexCall, address_of(*wait.word), FUTEX_WAIT_BITSET | private_flag(wait.scope), wait.expected,
          deadline.when(), nullptr, FUTEX_BITSET_MATCH_ANY);
}

// False where the system cannot wait on several words.
bool wait_on_several(std::span<const FutexWait> waits, const Deadline& deadline) noexcept {
  std::array<futex_waitv, FUTEX_WAITV_MAX> waiters{};
  for (size_t i = 0; i < waits.size(); ++i) {
    waiters[i].val = waits[i].expected;
    waiters[i].uaddr = reinterpret_cast<uintptr_t>(waits[i].word);
    waiters[i].flags = FUTEX_32 | static_cast<uint32_t>(private_flag(waits[i].scope));
  }
  const long result =
      syscall(SYS_futex_waitv, waiters.data(), waits.size(), 0u, deadline.when(), CLOCK_MONOTONIC);
  return result >= 0 || errno == EAGAIN || errno == EINTR || errno == ETIMEDOUT;
}

}  // namespace

Deadline Deadline::after(DWORD milliseconds) noexcept {
  Deadline deadline;
  if (milliseconds == INFINITE) return deadline;
  deadline.never_ = false;
  deadline.when_ = now();
  const int64_t nanoseconds = deadline.when_.tv_nsec + int64_t{milliseconds % 1000} * 1'000'000;
  deadline.when_.tv_sec += static_cast<time_t>(milliseconds / 1000 + nanoseconds / kNanosecondsPerSecond);
  deadline.when_.tv_nsec = static_cast<long>(nanoseconds % kNanosecondsPerSecond);
  return deadline;
}

Deadline Deadline::earlier_of(DWORD milliseconds_from_now) const noexcept {
  const Deadline other = after(milliseconds_from_now);
  return never_ || is_before(other.when_, when_) ? other : *this;
}

bool Deadline::passed() const noexcept {
  return !never_ && !is_before(now(), when_);
}

void futex_wait(std::span<const FutexWait> waits, const Deadline& deadline) noexcept {
  if (waits.size() == 1) {
    wait_on_one(waits[0], deadline);
  } else if (!wait_on_several(waits, deadline)) {
    wait_on_one(waits[0], deadline.earlier_of(kPollMilliseconds));
  }
}

void futex_wake(FutexWord& word, int count, FutexScope scope) noexcept {
  syscall(kFutexCall, address_of(word), FUTEX_WAKE | private_flag(scope), count, nullptr, nullptr, 0);
}

}  // namespace zdr::platform
