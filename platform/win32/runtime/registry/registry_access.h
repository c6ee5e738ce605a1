// The frame of every registry function. It admits one call at a time in this process and one change at a time
// among all processes, and lets no exception escape.
#pragma once

#include <utility>

#include "platform/win32/registry_hold.h"
#include "platform/win32/runtime/api_boundary.h"
#include "platform/win32/runtime/registry/key_handles.h"
#include "platform/win32/runtime/registry/registry_store.h"
#include "platform/win32/runtime/registry/store_lock.h"

namespace zdr::platform {

struct Registry {
  RegistryStore store;
  KeyHandles handles;
  int holds = 0;         // of the thread that has the lock
  bool unsaved = false;  // the tree has changes that the file has not; only during a hold
  StoreLock store_lock;  // taken while there are holds

  // Never destroyed: keys may be used while the process ends.
  static Registry& instance() noexcept;

  // Loads the tree. During a hold it is loaded already, and has changes that the file has not.
  DWORD load();
  // Begins the outermost hold, and stores its changes.
  DWORD begin_changes();
  DWORD save_changes();
};

// Locks the registry for a scope; a thread may nest them.
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

// `body(registry)` returns an error code and changes no key.
template <class Body>
LSTATUS read_registry(Body&& body) noexcept {
  const RegistryLock lock;
  return static_cast<LSTATUS>(guarded([&]() -> DWORD {
    Registry& registry = Registry::instance();
    const DWORD error = registry.load();
    return error == NO_ERROR ? std::forward<Body>(body)(registry) : error;
  }));
}

// `body(registry, changed)` sets `changed` when it has changed the tree. It changes nothing when it fails or
// throws.
template <class Body>
DWORD change_tree(Registry& registry, Body&& body) noexcept {
  bool changed = false;
  const DWORD error = guarded([&]() -> DWORD {
    const DWORD failure = registry.load();
    return failure == NO_ERROR ? std::forward<Body>(body)(registry, changed) : failure;
  });
  if (!changed) return error;
  registry.unsaved = true;
  // Handles that cannot be marked without memory are noticed at their next use.
  guarded([&] { return registry.handles.mark_deleted(registry.store.tree()); });
  return error;
}

// Changes the tree and, unless a hold defers that, the file.
template <class Body>
LSTATUS change_registry(Body&& body) noexcept {
  RegistryHold hold;
  DWORD error = hold.error();
  if (error == NO_ERROR) error = change_tree(Registry::instance(), std::forward<Body>(body));
  if (error == NO_ERROR) error = hold.commit();
  return static_cast<LSTATUS>(error);
}

}  // namespace zdr::platform
