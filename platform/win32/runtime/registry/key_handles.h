// The open keys. HKEY values have a low bit set that no HANDLE has, and are never reused.
#pragma once

#include <cstdint>
#include <map>

#include "platform/win32/runtime/registry/registry_tree.h"
#include "platform/win32/win32_registry.h"

namespace zdr::platform {

// Not thread-safe.
class KeyHandles {
 public:
  HKEY open(const KeyPath& path, REGSAM access);
  // NO_ERROR or ERROR_INVALID_HANDLE; predefined keys stay open.
  DWORD close(HKEY key);
  // The path of an open or predefined key that exists and may be used for `access`. ERROR_INVALID_HANDLE,
  // ERROR_ACCESS_DENIED, or ERROR_KEY_DELETED, then also for every later call.
  DWORD resolve(HKEY key, REGSAM access, const RegistryKey& top, KeyPath& path);
  // Called after a removal: handles of removed keys stay invalid even if keys of the same name are created
  // later.
  DWORD mark_deleted(const RegistryKey& top);

 private:
  struct OpenKey {
    KeyPath path;
    REGSAM access = 0;
    bool deleted = false;
  };

  std::map<uintptr_t, OpenKey> keys_;
  uintptr_t last_ = 2;
};

// True if the tree has the key in any place of the path.
bool is_visible(const RegistryKey& top, const KeyPath& path);

}  // namespace zdr::platform
