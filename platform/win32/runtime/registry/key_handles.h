// The keys that are open. HKEY values have a low bit that no HANDLE has, and are never used again.
#pragma once

#include <cstdint>
#include <map>

#include "platform/win32/runtime/registry/registry_tree.h"
#include "platform/win32/win32_registry.h"

namespace zdr::platform {

// Not safe for threads.
class KeyHandles {
 public:
  HKEY open(const KeyPath& path, REGSAM access);
  // NO_ERROR or ERROR_INVALID_HANDLE; predefined keys stay open.
  DWORD close(HKEY key);
  // The path of an open or predefined key that may be used for `access` and exists. ERROR_INVALID_HANDLE,
  // ERROR_ACCESS_DENIED, or ERROR_KEY_DELETED, now and for ever.
  DWORD resolve(HKEY key, REGSAM access, const RegistryKey& top, KeyPath& path);
  // After a removal: handles of keys that are gone stay dead although keys of the same name may come.
  DWORD bury_missing(const RegistryKey& top);

 private:
  struct OpenKey {
    KeyPath path;
    REGSAM access = 0;
    bool deleted = false;
  };

  std::map<uintptr_t, OpenKey> keys_;
  uintptr_t last_ = 2;
};

// Whether anything of the path is in the tree.
bool is_visible(const RegistryKey& top, const KeyPath& path);

}  // namespace zdr::platform
