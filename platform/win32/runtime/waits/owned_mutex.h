// Mutexes of either kind know their owner: each thread keeps the list of those it owns, so that a release
// finds them without a look-up and a thread's end abandons them.
#pragma once

#include <cstdint>

#include "platform/win32/runtime/handle_table.h"
#include "platform/win32/runtime/kernel_object.h"
#include "platform/win32/runtime/thread_state.h"

namespace zdr::platform {

class OwnedMutex : public KernelObject {
 public:
  // Undoes one successful wait. True when it was the last one and `unlock` must follow. Owner only.
  virtual bool release_one() noexcept = 0;
  virtual void unlock() noexcept = 0;
  // The owner thread ends: the next owner shall be told.
  virtual void abandon() noexcept = 0;

  OwnedMutex* next_owned = nullptr;
  // The pin of the wait that took the mutex. It keeps the object alive while it is owned, whatever is closed.
  HandleSlot* owner_pin = nullptr;

 protected:
  using KernelObject::KernelObject;
};

// After the first successful wait of the calling thread: lists the mutex and takes over the pin.
void adopt_owned_mutex(OwnedMutex& mutex, Pin pin) noexcept;

// ReleaseMutex: NO_ERROR, ERROR_INVALID_HANDLE or ERROR_NOT_OWNER.
DWORD release_mutex(HANDLE handle) noexcept;

// At a thread's end.
void abandon_owned_mutexes() noexcept;

}  // namespace zdr::platform
