// Sleep and the monotonic clock.
#include <sched.h>

#include <cerrno>
#include <ctime>

#include "platform/win32/runtime/futex.h"
#include "platform/win32/win32_threads.h"

namespace {

constexpr int64_t kNanosecondsPerSecond = 1'000'000'000;

int64_t monotonic_nanoseconds() noexcept {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec * kNanosecondsPerSecond + now.tv_nsec;
}

}  // namespace

void Sleep(DWORD milliseconds) noexcept {
  using zdr::platform::Deadline;
  if (milliseconds == 0) {
    sched_yield();
    return;
  }
  zdr::platform::FutexWord never_changed{0};
  const Deadline deadline = Deadline::after(milliseconds);
  while (!deadline.passed()) futex_wait(never_changed, 0, deadline, zdr::platform::FutexScope::kProcess);
}

ULONGLONG GetTickCount64(void) noexcept {
  return static_cast<ULONGLONG>(monotonic_nanoseconds() / 1'000'000);
}

DWORD GetTickCount(void) noexcept {
  return static_cast<DWORD>(GetTickCount64());
}

BOOL QueryPerformanceCounter(PLARGE_INTEGER count) noexcept {
  if (count == nullptr) return FALSE;
  count->QuadPart = monotonic_nanoseconds();
  return TRUE;
}

BOOL QueryPerformanceFrequency(PLARGE_INTEGER frequency) noexcept {
  if (frequency == nullptr) return FALSE;
  frequency->QuadPart = kNanosecondsPerSecond;
  return TRUE;
}
