// The per-thread list of owned mutexes.
#include "platform/win32/runtime/waits/owned_mutex.h"

#include "platform/win32/runtime/waits/thread_exit.h"

namespace zdr::platform {

namespace {

bool is_mutex(const KernelObject* object) noexcept {
  return object != nullptr &&
         (object->kind() == ObjectKind::kMutex || object->kind() == ObjectKind::kSharedMutex);
}

void release_listed(OwnedMutex** link) noexcept {
  OwnedMutex& mutex = **link;
  if (!mutex.release_one()) return;
  *link = mutex.next_owned;
  HandleSlot* const slot = mutex.owner_pin;
  mutex.unlock();
  unpin(*slot);
}

// Where the list points at the mutex, or null when the thread does not own it.
template <class Match>
OwnedMutex** find_owned(Match match) noexcept {
  for (OwnedMutex** link = &this_thread.owned_mutexes; *link != nullptr; link = &(*link)->next_owned) {
    if (match(**link)) return link;
  }
  return nullptr;
}

}  // namespace

void adopt_owned_mutex(OwnedMutex& mutex, Pin pin) noexcept {
  if (!this_thread.exit_hook_set) set_thread_exit_hook();
  mutex.owner_pin = pin.detach();
  mutex.next_owned = this_thread.owned_mutexes;
  this_thread.owned_mutexes = &mutex;
}

DWORD release_mutex(HANDLE handle) noexcept {
  HandleSlot* const slot = slot_of(handle);
  if (slot == nullptr || !is_state_of(slot->state.load(std::memory_order_relaxed), handle)) {
    return ERROR_INVALID_HANDLE;
  }
  // The owner's own pin makes the look-up safe without another one.
  if (OwnedMutex** link = find_owned([&](OwnedMutex& mutex) { return mutex.owner_pin == slot; })) {
    release_listed(link);
    return NO_ERROR;
  }
  const Pin pin(handle);
  if (!is_mutex(pin.object())) return ERROR_INVALID_HANDLE;
  // A named mutex may have been taken through another handle of this process.
  if (OwnedMutex** link = find_owned([&](OwnedMutex& mutex) { return &mutex == pin.object(); })) {
    release_listed(link);
    return NO_ERROR;
  }
  return ERROR_NOT_OWNER;
}

void abandon_owned_mutexes() noexcept {
  while (OwnedMutex* mutex = this_thread.owned_mutexes) {
    this_thread.owned_mutexes = mutex->next_owned;
    HandleSlot* const slot = mutex->owner_pin;
    mutex->abandon();
    unpin(*slot);
  }
}

}  // namespace zdr::platform
