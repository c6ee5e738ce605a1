// The table of open keys.
#include "platform/win32/runtime/registry/key_handles.h"

#include <algorithm>

namespace zdr::platform {

namespace {

// The lowest two bits of an HKEY are 10; those of a HANDLE are 00.
constexpr uintptr_t kStep = 4;

std::u16string_view predefined_name(HKEY key) noexcept {
  if (key == HKEY_CLASSES_ROOT) return kClassesRoot;
  if (key == HKEY_CURRENT_USER) return u"HKEY_CURRENT_USER";
  if (key == HKEY_LOCAL_MACHINE) return u"HKEY_LOCAL_MACHINE";
  if (key == HKEY_USERS) return u"HKEY_USERS";
  if (key == HKEY_CURRENT_CONFIG) return u"HKEY_CURRENT_CONFIG";
  return {};
}

}  // namespace

bool is_visible(const RegistryKey& top, const KeyPath& path) {
  if (path.size() == 1) return true;
  return std::ranges::any_of(places_of(path), [&](const KeyPath& place) { return find_key(top, place); });
}

HKEY KeyHandles::open(const KeyPath& path, REGSAM access) {
  keys_.emplace(last_ + kStep, OpenKey{path, access});
  last_ += kStep;
  return reinterpret_cast<HKEY>(last_);
}

DWORD KeyHandles::close(HKEY key) {
  if (!predefined_name(key).empty()) return NO_ERROR;
  return keys_.erase(reinterpret_cast<uintptr_t>(key)) != 0 ? NO_ERROR : ERROR_INVALID_HANDLE;
}

DWORD KeyHandles::resolve(HKEY key, REGSAM access, const RegistryKey& top, KeyPath& path) {
  if (const std::u16string_view root = predefined_name(key); !root.empty()) {
    path = {std::u16string(root)};
    return NO_ERROR;
  }
  const auto found = keys_.find(reinterpret_cast<uintptr_t>(key));
  if (found == keys_.end()) return ERROR_INVALID_HANDLE;
  OpenKey& open = found->second;
  if (open.deleted || !is_visible(top, open.path)) {
    open.deleted = true;
    return ERROR_KEY_DELETED;
  }
  if ((open.access & access) != access) return ERROR_ACCESS_DENIED;
  path = open.path;
  return NO_ERROR;
}

DWORD KeyHandles::mark_deleted(const RegistryKey& top) {
  for (auto& [value, open] : keys_) {
    if (!is_visible(top, open.path)) open.deleted = true;
  }
  return NO_ERROR;
}

}  // namespace zdr::platform
