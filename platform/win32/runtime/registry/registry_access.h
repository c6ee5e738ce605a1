// The frame of every registry function: one at a time in this process, changes one at a time among all of
// them, no exception out.
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

  // Never destroyed: keys may be used by whatever runs at the end of the process.
  static Registry& instance();
};

// Holds the registry for a scope. What it has to say to a debugger is said when it is free again, because the
// listener may use the registry.
class RegistryTurn {
 public:
  RegistryTurn() noexcept;
  ~RegistryTurn();
  RegistryTurn(const RegistryTurn&) = delete;
  RegistryTurn& operator=(const RegistryTurn&) = delete;
};

// The lock beside the file that the environment names.
DWORD lock_store(StoreLock& lock);

// `body(registry)` gives an error code and changes no key.
template <class Body>
LSTATUS read_registry(Body&& body) noexcept {
  const RegistryTurn turn;
  return static_cast<LSTATUS>(guarded([&]() -> DWORD {
    Registry& registry = Registry::instance();
    const DWORD error = registry.store.load();
    return error == NO_ERROR ? std::forward<Body>(body)(registry) : error;
  }));
}

// `body(registry, changed)` says in `changed` whether it touched the tree, which is then saved.
template <class Body>
LSTATUS change_registry(Body&& body) noexcept {
  const RegistryTurn turn;
  bool changed = false;
  const DWORD error = guarded([&]() -> DWORD {
    Registry& registry = Registry::instance();
    StoreLock store_lock;
    if (const DWORD failure = lock_store(store_lock); failure != NO_ERROR) return failure;
    if (const DWORD failure = registry.store.load(); failure != NO_ERROR) return failure;
    const DWORD failure = std::forward<Body>(body)(registry, changed);
    if (failure != NO_ERROR || !changed) return failure;
    if (const DWORD unsaved = registry.store.save(); unsaved != NO_ERROR) return unsaved;
    changed = false;
    // What cannot be buried for want of memory is noticed at its next use.
    guarded([&] { return registry.handles.bury_missing(registry.store.tree()); });
    return NO_ERROR;
  });
  if (changed) Registry::instance().store.forget();
  return static_cast<LSTATUS>(error);
}

}  // namespace zdr::platform
