// CreateEventW, SetEvent, ResetEvent.
#include <new>

#include "platform/win32/fault_injection.h"
#include "platform/win32/runtime/api_boundary.h"
#include "platform/win32/runtime/named/named_event.h"
#include "platform/win32/runtime/wait_signal.h"
#include "platform/win32/runtime/waits/new_handle.h"
#include "platform/win32/win32_sync.h"

using namespace zdr::platform;

HANDLE CreateEventW(LPSECURITY_ATTRIBUTES, BOOL manual_reset, BOOL initial_state, LPCWSTR name) noexcept {
  const bool manual = manual_reset != FALSE;
  const bool set = initial_state != FALSE;
  if (should_fail(FaultPoint::kEventCreate)) return fail_handle(ERROR_NOT_ENOUGH_MEMORY);
  if (!is_named(name)) {
    return new_handle(Ref<KernelObject>(new (std::nothrow) WaitSignal(ObjectKind::kEvent, manual, set)),
                      NO_ERROR);
  }
  Ref<KernelObject> event;
  bool existed = false;
  const DWORD error = guarded([&] { return open_named_event(name, manual, set, event, existed); });
  if (error != NO_ERROR) return fail_handle(error);
  return new_handle(std::move(event), existed ? ERROR_ALREADY_EXISTS : NO_ERROR);
}

BOOL SetEvent(HANDLE event) noexcept {
  const Pin pin(event);
  auto* signal = pin.as<WaitSignal>(ObjectKind::kEvent);
  if (signal == nullptr) return report(ERROR_INVALID_HANDLE);
  signal->set();
  return TRUE;
}

BOOL ResetEvent(HANDLE event) noexcept {
  const Pin pin(event);
  auto* signal = pin.as<WaitSignal>(ObjectKind::kEvent);
  if (signal == nullptr) return report(ERROR_INVALID_HANDLE);
  signal->reset();
  return TRUE;
}
