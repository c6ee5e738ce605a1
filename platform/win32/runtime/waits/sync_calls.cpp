// Creating, opening and signalling events, mutexes and semaphores.
#include <new>

#include "platform/win32/fault_injection.h"
#include "platform/win32/runtime/api_boundary.h"
#include "platform/win32/runtime/named/named_objects.h"
#include "platform/win32/runtime/named/shared_mutex.h"
#include "platform/win32/runtime/named/shared_signal.h"
#include "platform/win32/runtime/waits/local_objects.h"
#include "platform/win32/win32_sync.h"

namespace zdr::platform {

namespace {

HANDLE fail(DWORD error) noexcept {
  SetLastError(error);
  return nullptr;
}

// A new handle to the object. Success sets the last error, since callers ask whether the object existed.
HANDLE finish_open(Ref<KernelObject> object, DWORD success_error) noexcept {
  if (!object) return fail(ERROR_NOT_ENOUGH_MEMORY);
  const HANDLE handle = open_handle(std::move(object));
  if (handle == nullptr) return fail(ERROR_NO_SYSTEM_RESOURCES);
  SetLastError(success_error);
  return handle;
}

bool is_unnamed(LPCWSTR name) noexcept {
  return name == nullptr || *name == 0;
}

HANDLE open_named_handle(LPCWSTR name, const NamedRequest& request, bool& existed) noexcept {
  Ref<KernelObject> object;
  const DWORD error = guarded([&] { return open_named(name, request, object, existed); });
  if (error != NO_ERROR) return fail(error);
  return finish_open(std::move(object), existed && request.create ? ERROR_ALREADY_EXISTS : NO_ERROR);
}

HANDLE open_existing(LPCWSTR name, SharedKind kind) noexcept {
  if (is_unnamed(name)) return fail(ERROR_INVALID_PARAMETER);
  const DWORD kept_error = GetLastError();
  bool existed = false;
  const HANDLE handle = open_named_handle(name, {.kind = kind, .create = false}, existed);
  if (handle != nullptr) SetLastError(kept_error);
  return handle;
}

// The creator owns the mutex before anyone else can see the handle.
HANDLE create_local_mutex(bool owned) noexcept {
  MutexObject* mutex = new (std::nothrow) MutexObject;
  if (mutex != nullptr && owned) mutex->try_lock_fast(this_thread_id());
  const HANDLE handle = finish_open(Ref<KernelObject>(mutex), NO_ERROR);
  if (handle != nullptr && owned) adopt_owned_mutex(*mutex, Pin(handle));
  return handle;
}

HANDLE create_named_mutex(LPCWSTR name, bool owned) noexcept {
  bool existed = false;
  const HANDLE handle =
      open_named_handle(name, {.kind = SharedKind::kMutex, .create = true, .owned = owned}, existed);
  if (handle == nullptr || existed || !owned) return handle;
  Pin pin(handle);
  if (auto* mutex = pin.as<SharedMutex>()) adopt_owned_mutex(*mutex, std::move(pin));
  return handle;
}

}  // namespace

}  // namespace zdr::platform

using namespace zdr::platform;

HANDLE CreateEventW(LPSECURITY_ATTRIBUTES, BOOL manual_reset, BOOL initial_state, LPCWSTR name) noexcept {
  const bool manual = manual_reset != FALSE;
  const bool set = initial_state != FALSE;
  if (should_fail(FaultPoint::kEventCreate)) return fail(ERROR_NOT_ENOUGH_MEMORY);
  if (is_unnamed(name)) {
    return finish_open(Ref<KernelObject>(new (std::nothrow) EventObject(manual, set)), NO_ERROR);
  }
  bool existed = false;
  return open_named_handle(
      name, {.kind = SharedKind::kEvent, .create = true, .manual_reset = manual, .initial = set ? 1 : 0},
      existed);
}

HANDLE CreateMutexW(LPSECURITY_ATTRIBUTES, BOOL initial_owner, LPCWSTR name) noexcept {
  if (should_fail(FaultPoint::kMutexCreate)) return fail(ERROR_NOT_ENOUGH_MEMORY);
  const bool owned = initial_owner != FALSE;
  return is_unnamed(name) ? create_local_mutex(owned) : create_named_mutex(name, owned);
}

HANDLE CreateSemaphoreW(LPSECURITY_ATTRIBUTES, LONG initial, LONG maximum, LPCWSTR name) noexcept {
  if (maximum < 1 || initial < 0 || initial > maximum) return fail(ERROR_INVALID_PARAMETER);
  if (should_fail(FaultPoint::kSemaphoreCreate)) return fail(ERROR_NOT_ENOUGH_MEMORY);
  if (is_unnamed(name)) {
    return finish_open(Ref<KernelObject>(new (std::nothrow) SemaphoreObject(initial, maximum)), NO_ERROR);
  }
  bool existed = false;
  return open_named_handle(
      name, {.kind = SharedKind::kSemaphore, .create = true, .initial = initial, .maximum = maximum},
      existed);
}

HANDLE OpenEventW(DWORD, BOOL, LPCWSTR name) noexcept {
  return open_existing(name, SharedKind::kEvent);
}

HANDLE OpenMutexW(DWORD, BOOL, LPCWSTR name) noexcept {
  return open_existing(name, SharedKind::kMutex);
}

namespace {

// The event behind the handle, of either kind.
template <class Local, class Shared>
BOOL for_event(HANDLE handle, Local local, Shared shared) noexcept {
  const Pin pin(handle);
  if (auto* event = pin.as<EventObject>()) {
    local(*event);
    return TRUE;
  }
  auto* signal = pin.as<SharedSignal>();
  if (signal == nullptr || signal->shared_kind() != SharedKind::kEvent) return report(ERROR_INVALID_HANDLE);
  shared(*signal);
  return TRUE;
}

}  // namespace

BOOL SetEvent(HANDLE event) noexcept {
  return for_event(
      event, [](EventObject& local) { local.set(); }, [](SharedSignal& shared) { shared.set(); });
}

BOOL ResetEvent(HANDLE event) noexcept {
  return for_event(
      event, [](EventObject& local) { local.reset(); }, [](SharedSignal& shared) { shared.reset(); });
}

BOOL ReleaseMutex(HANDLE mutex) noexcept {
  return report(release_mutex(mutex));
}

BOOL ReleaseSemaphore(HANDLE semaphore, LONG count, LPLONG previous) noexcept {
  const Pin pin(semaphore);
  auto* local = pin.as<SemaphoreObject>();
  auto* shared = pin.as<SharedSignal>();
  if (shared != nullptr && shared->shared_kind() != SharedKind::kSemaphore) shared = nullptr;
  if (local == nullptr && shared == nullptr) return report(ERROR_INVALID_HANDLE);
  if (count < 1) return report(ERROR_INVALID_PARAMETER);
  LONG before = 0;
  const DWORD error = local != nullptr ? local->add(count, before) : shared->add(count, before);
  if (error == NO_ERROR && previous != nullptr) *previous = before;
  return report(error);
}
