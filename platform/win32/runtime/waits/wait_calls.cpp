// WaitForSingleObject and WaitForMultipleObjects.
#include <array>

#include "platform/win32/runtime/api_boundary.h"
#include "platform/win32/runtime/named/shared_mutex.h"
#include "platform/win32/runtime/named/shared_signal.h"
#include "platform/win32/runtime/waits/local_objects.h"
#include "platform/win32/runtime/waits/mixed_wait.h"
#include "platform/win32/win32_sync.h"

namespace zdr::platform {

namespace {

DWORD fail_wait(DWORD error) noexcept {
  SetLastError(error);
  return WAIT_FAILED;
}

// Null for objects that are shared or cannot be waited for.
LocalObject* as_local(KernelObject* object) noexcept {
  if (object == nullptr) return nullptr;
  switch (object->kind()) {
    case ObjectKind::kEvent:
      return static_cast<EventObject*>(object);
    case ObjectKind::kMutex:
      return static_cast<MutexObject*>(object);
    case ObjectKind::kSemaphore:
      return static_cast<SemaphoreObject*>(object);
    case ObjectKind::kThread:
      return static_cast<ThreadObject*>(object);
    case ObjectKind::kFile:
    case ObjectKind::kSharedSignal:
    case ObjectKind::kSharedMutex:
      break;
  }
  return nullptr;
}

DWORD wait_for_one_local(LocalObject& object, DWORD milliseconds) noexcept {
  Waiter waiter;
  WaitNode node{nullptr, nullptr, &waiter, &object, 0};
  waiter.thread = this_thread_id();
  waiter.nodes = {&node, 1};
  return wait_for_local(waiter, milliseconds);
}

bool is_served(DWORD result) noexcept {
  return result < WAIT_TIMEOUT;
}

// A short look before sleeping: most owners hold a mutex for less than a thread switch takes.
bool spin_for(MutexObject& mutex, uint32_t thread) noexcept {
  constexpr int kSpins = 64;
  for (int i = 0; i < kSpins; ++i) {
    if (mutex.try_lock_fast(thread)) return true;
    pause_briefly();
  }
  return false;
}

DWORD wait_for_mutex(MutexObject& mutex, Pin& pin, DWORD milliseconds) noexcept {
  const uint32_t thread = this_thread_id();
  DWORD result;
  if (mutex.try_lock_fast(thread) || (milliseconds != 0 && spin_for(mutex, thread))) {
    if (mutex.depth() > 1) return WAIT_OBJECT_0;
    result = mutex.take_abandoned_mark() ? WAIT_ABANDONED : WAIT_OBJECT_0;
  } else {
    result = wait_for_one_local(mutex, milliseconds);
  }
  if (is_served(result)) adopt_owned_mutex(mutex, std::move(pin));
  return result;
}

DWORD wait_for_event(EventObject& event, DWORD milliseconds) noexcept {
  const bool set = event.is_set();
  if (set && event.manual_reset()) return WAIT_OBJECT_0;
  if (!set && milliseconds == 0) return WAIT_TIMEOUT;
  return wait_for_one_local(event, milliseconds);
}

DWORD wait_for_shared_mutex(SharedMutex& mutex, Pin& pin, DWORD milliseconds) noexcept {
  const DWORD result = mutex.wait(milliseconds);
  if (is_served(result) && mutex.depth() == 1) adopt_owned_mutex(mutex, std::move(pin));
  return result;
}

DWORD wait_for_single(Pin& pin, DWORD milliseconds) noexcept {
  KernelObject* object = pin.object();
  if (object == nullptr) return fail_wait(ERROR_INVALID_HANDLE);
  switch (object->kind()) {
    case ObjectKind::kMutex:
      return wait_for_mutex(static_cast<MutexObject&>(*object), pin, milliseconds);
    case ObjectKind::kEvent:
      return wait_for_event(static_cast<EventObject&>(*object), milliseconds);
    case ObjectKind::kSemaphore:
    case ObjectKind::kThread:
      return wait_for_one_local(*as_local(object), milliseconds);
    case ObjectKind::kSharedSignal:
      return static_cast<SharedSignal&>(*object).wait(milliseconds);
    case ObjectKind::kSharedMutex:
      return wait_for_shared_mutex(static_cast<SharedMutex&>(*object), pin, milliseconds);
    case ObjectKind::kFile:
      break;
  }
  return fail_wait(ERROR_INVALID_HANDLE);
}

// The pinned handles of one WaitForMultipleObjects call.
struct PinnedObjects {
  std::array<Pin, MAXIMUM_WAIT_OBJECTS> pins;
  std::array<WaitItem, MAXIMUM_WAIT_OBJECTS> items{};
  size_t count = 0;
  bool any_shared = false;

  DWORD pin(std::span<const HANDLE> handles, bool wait_all) noexcept;
  void adopt_mutex(size_t index) noexcept;
};

DWORD PinnedObjects::pin(std::span<const HANDLE> handles, bool wait_all) noexcept {
  for (const HANDLE handle : handles) {
    pins[count] = Pin(handle);
    KernelObject* object = pins[count].object();
    LocalObject* local = as_local(object);
    if (object == nullptr || object->kind() == ObjectKind::kFile) return ERROR_INVALID_HANDLE;
    for (size_t i = 0; wait_all && i < count; ++i) {
      if (items[i].object == object) return ERROR_INVALID_PARAMETER;
    }
    any_shared |= local == nullptr;
    items[count++] = {object, local};
  }
  return NO_ERROR;
}

void PinnedObjects::adopt_mutex(size_t index) noexcept {
  if (auto* mutex = pins[index].as<MutexObject>()) {
    if (mutex->depth() == 1) adopt_owned_mutex(*mutex, std::move(pins[index]));
  } else if (auto* shared = pins[index].as<SharedMutex>()) {
    if (shared->depth() == 1) adopt_owned_mutex(*shared, std::move(pins[index]));
  }
}

DWORD wait_for_all_local(PinnedObjects& objects, bool wait_all, DWORD milliseconds) noexcept {
  std::array<WaitNode, MAXIMUM_WAIT_OBJECTS> nodes;
  Waiter waiter;
  waiter.thread = this_thread_id();
  waiter.mode = wait_all ? Waiter::Mode::kAll : Waiter::Mode::kAny;
  waiter.nodes = std::span(nodes).first(objects.count);
  for (size_t i = 0; i < objects.count; ++i) {
    nodes[i] = {nullptr, nullptr, &waiter, objects.items[i].local, static_cast<DWORD>(i)};
  }
  return wait_for_local(waiter, milliseconds);
}

DWORD wait_for_multiple(PinnedObjects& objects, bool wait_all, DWORD milliseconds) noexcept {
  const DWORD result = objects.any_shared ? wait_for_mixed(std::span(objects.items).first(objects.count),
                                                           wait_all, milliseconds)
                                          : wait_for_all_local(objects, wait_all, milliseconds);
  if (!is_served(result)) return result;
  if (wait_all) {
    for (size_t i = 0; i < objects.count; ++i) objects.adopt_mutex(i);
  } else {
    objects.adopt_mutex(result % WAIT_ABANDONED_0);
  }
  return result;
}

}  // namespace

}  // namespace zdr::platform

DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds) noexcept {
  zdr::platform::Pin pin(handle);
  return zdr::platform::wait_for_single(pin, milliseconds);
}

DWORD WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL wait_all, DWORD milliseconds) noexcept {
  using namespace zdr::platform;
  if (count == 0 || count > MAXIMUM_WAIT_OBJECTS || handles == nullptr) {
    return fail_wait(ERROR_INVALID_PARAMETER);
  }
  PinnedObjects objects;
  if (const DWORD error = objects.pin({handles, count}, wait_all != FALSE); error != NO_ERROR) {
    return fail_wait(error);
  }
  return wait_for_multiple(objects, wait_all != FALSE, milliseconds);
}
