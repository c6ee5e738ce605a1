// The frame of every registry function. It admits one call at a time in this process and one change at a time
// among all processes, and lets no exception escape.
#pragma once

#include <utility>

#include "platform/win32/runtime/api_boundary.h"
#include "platform/win32/runtime/registry/key_handles.h"
#include "platform/win32/runtime/registry/registry_store.h"
#include "platform/win32/runtime/registry/store_lock.h"

namespace zdr::platform {

struct Registry {
  RegistryStore store;
  KeyHandles handles;
  int holds = 0;
  StoreLock hold_lock;  // taken while there are holds

  // Never destroyed: keys may be used while the process ends.
  static Registry& instance() noexcept;
};

// Locks the registry for a scope. A message to the debugger is sent after the lock is released, because the
// debugger's hook may use the registry.
class RegistryLock {
 public:
  RegistryLock() noexcept;
  ~RegistryLock();
  RegistryLock(const RegistryLock&) = delete;
  RegistryLock& operator=(const RegistryLock&) = delete;
};

inline std::u16string_view text_or_empty(LPCWSTR text) noexcept {
  return text != nullptr ? std::u16string_view(text) : std::u16string_view();
}

// Takes the lock beside the registry's file, unless a hold has it.
DWORD lock_store(const Registry& registry, StoreLock& lock);

// `body(registry)` returns an error code and changes no key.
template <class Body>
LSTATUS read_registry(Body&& body) noexcept {
  const RegistryLock lock;
  return static_cast<LSTATUS>(guarded([&]() -> DWORD {
    Registry& registry = Registry::instance();
    const DWORD error = registry.store.load();
    return error == NO_ERROR ? std::forward<Body>(body)(registry) : error;
  }));
}

// `body(registry, changed)` sets `changed` when it has changed the tree, which is then saved.
template <class Body>
LSTATUS change_registry(Body&& body) noexcept {
  const RegistryLock lock;
  bool changed = false;
  const DWORD error = guarded([&]() -> DWORD {
    Registry& registry = Registry::instance();
    StoreLock store_lock;
    if (const DWORD failure = lock_store(registry, store_lock); failure != NO_ERROR) return failure;
    if (const DWORD failure = registry.store.load(); failure != NO_ERROR) return failure;
    const DWORD failure = std::forward<Body>(body)(registry, changed);
    if (failure != NO_ERROR || !changed) return failure;
    if (const DWORD unsaved = registry.store.save(); unsaved != NO_ERROR) return unsaved;
    changed = false;
    // Handles that cannot be marked without memory are noticed at their next use.
    guarded([&] { return registry.handles.mark_deleted(registry.store.tree()); });
    return NO_ERROR;
  });
  if (changed) Registry::instance().store.forget();
  return static_cast<LSTATUS>(error);
}

}  // namespace zdr::platform
