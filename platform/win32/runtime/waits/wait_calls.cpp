// WaitForSingleObject, WaitForMultipleObjects and Sleep.
#include <sched.h>

#include <algorithm>
#include <array>
#include <span>

#include "platform/win32/runtime/futex.h"
#include "platform/win32/runtime/handle_table.h"
#include "platform/win32/runtime/wait_signal.h"
#include "platform/win32/runtime/waits/mutex.h"
#include "platform/win32/win32_error.h"
#include "platform/win32/win32_sync.h"
#include "platform/win32/win32_threads.h"

namespace zdr::platform {

namespace {

// The longest sleep on a word in shared memory. It is limited because a wake-up is lost when the process that
// received it is killed before it takes the signal.
constexpr DWORD kLongestSharedSleepMs = 250;

DWORD fail_wait(DWORD error) noexcept {
  SetLastError(error);
  return WAIT_FAILED;
}

// The pinned object if it is an event or a thread, else null.
WaitSignal* signal_of(const Pin& pin) noexcept {
  WaitSignal* event = pin.as<WaitSignal>(ObjectKind::kEvent);
  return event != nullptr ? event : pin.as<WaitSignal>(ObjectKind::kThread);
}

// Takes the first signal that is set and returns its index; the number of signals when none is set.
size_t take_first(std::span<WaitSignal* const> signals) noexcept {
  const auto taken =
      std::find_if(signals.begin(), signals.end(), [](WaitSignal* each) { return each->try_take(); });
  return static_cast<size_t>(taken - signals.begin());
}

// Blocks until one of the signals (at most MAXIMUM_WAIT_OBJECTS) is taken.
DWORD wait_for_any(std::span<WaitSignal* const> signals, DWORD milliseconds) noexcept {
  std::array<FutexWait, MAXIMUM_WAIT_OBJECTS> storage;
  std::transform(signals.begin(), signals.end(), storage.begin(),
                 [](WaitSignal* each) { return each->sleep_while_unset(); });
  const auto words = std::span(storage).first(signals.size());
  const bool any_shared =
      std::any_of(signals.begin(), signals.end(), [](WaitSignal* each) { return each->is_shared(); });
  const Deadline deadline = Deadline::after(milliseconds);
  size_t taken = take_first(signals);
  while (taken == signals.size()) {
    if (deadline.passed()) return WAIT_TIMEOUT;
    futex_wait(words, any_shared ? deadline.earlier_of(kLongestSharedSleepMs) : deadline);
    taken = take_first(signals);
  }
  // One sleep can receive the wake-ups of several signals.
  for (WaitSignal* other : signals) {
    if (other != signals[taken]) other->wake_next_if_set();
  }
  return WAIT_OBJECT_0 + static_cast<DWORD>(taken);
}

}  // namespace

}  // namespace zdr::platform

using namespace zdr::platform;

DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds) noexcept {
  Pin pin(handle);
  if (auto* mutex = pin.as<MutexObject>(); mutex != nullptr) return mutex->lock(pin, milliseconds);
  WaitSignal* const signal = signal_of(pin);
  return signal != nullptr ? wait_for_any({&signal, 1}, milliseconds) : fail_wait(ERROR_INVALID_HANDLE);
}

DWORD WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL wait_all, DWORD milliseconds) noexcept {
  if (count == 0 || count > MAXIMUM_WAIT_OBJECTS || handles == nullptr)
    return fail_wait(ERROR_INVALID_PARAMETER);
  if (wait_all != FALSE) return fail_wait(ERROR_NOT_SUPPORTED);
  std::array<Pin, MAXIMUM_WAIT_OBJECTS> pins;
  std::array<WaitSignal*, MAXIMUM_WAIT_OBJECTS> signals;
  for (DWORD i = 0; i < count; ++i) {
    pins[i] = Pin(handles[i]);
    signals[i] = signal_of(pins[i]);
    if (signals[i] == nullptr) return fail_wait(ERROR_INVALID_HANDLE);
  }
  return wait_for_any(std::span(signals).first(count), milliseconds);
}

void Sleep(DWORD milliseconds) noexcept {
  if (milliseconds == 0) {
    sched_yield();
    return;
  }
  FutexWord never_changed{0};
  const Deadline deadline = Deadline::after(milliseconds);
  while (!deadline.passed()) futex_wait({&never_changed, 0, FutexScope::kProcess}, deadline);
}
