// RegCreateKeyExW, RegOpenKeyExW, RegCloseKey, RegDeleteKeyW, RegDeleteTreeW.
#include <algorithm>

#include "platform/win32/runtime/registry/registry_access.h"
#include "platform/win32/win32_registry.h"

namespace zdr::platform {

namespace {

constexpr size_t kMostNewLevels = 32;

// The path of a sub key of an open key.
// Kept: a handle opened for reading is enough to make and delete sub keys; its rights count for values
// only.
DWORD resolve_sub_key(Registry& registry, HKEY key, LPCWSTR sub_key, KeyPath& path) {
  const DWORD error = registry.handles.resolve(key, 0, registry.store.tree(), path);
  return error == NO_ERROR ? append_names(path, text_or_empty(sub_key)) : error;
}

// These roots take no new keys directly below them.
bool is_in_closed_root(const KeyPath& place, size_t existing) noexcept {
  return existing == 1 && (place[0] == u"HKEY_LOCAL_MACHINE" || place[0] == u"HKEY_USERS");
}

DWORD make_missing(RegistryKey& top, const KeyPath& path, bool& changed) {
  if (is_visible(top, path)) return NO_ERROR;
  const KeyPath place = place_for_new_key(path);
  const size_t existing = existing_levels(top, place);
  if (place.size() > kDeepestPath || place.size() - existing > kMostNewLevels ||
      is_in_closed_root(place, existing)) {
    return ERROR_INVALID_PARAMETER;
  }
  make_key(top, place);
  changed = true;
  return NO_ERROR;
}

LSTATUS open_key(HKEY key, LPCWSTR sub_key, REGSAM access, HKEY* result) noexcept {
  return read_registry([&](Registry& registry) -> DWORD {
    KeyPath path;
    if (const DWORD error = resolve_sub_key(registry, key, sub_key, path); error != NO_ERROR) return error;
    if (!is_visible(registry.store.tree(), path)) return ERROR_FILE_NOT_FOUND;
    *result = registry.handles.open(path, access);
    return NO_ERROR;
  });
}

LSTATUS make_and_open_key(HKEY key, LPCWSTR sub_key, REGSAM access, HKEY* result, bool& made) noexcept {
  HKEY opened = nullptr;
  const LSTATUS status = change_registry([&](Registry& registry, bool& changed) -> DWORD {
    KeyPath path;
    if (const DWORD error = resolve_sub_key(registry, key, sub_key, path); error != NO_ERROR) return error;
    opened = registry.handles.open(path, access);
    const DWORD error = make_missing(registry.store.tree(), path, changed);
    made = changed;
    return error;
  });
  if (status == ERROR_SUCCESS) {
    *result = opened;
  } else if (opened != nullptr) {
    RegCloseKey(opened);
  }
  return status;
}

// Below HKEY_CLASSES_ROOT, the key in the place that hides the other is removed.
DWORD remove_single_key(RegistryKey& top, const KeyPath& path, bool& changed) {
  if (is_permanent(path)) return ERROR_ACCESS_DENIED;
  for (const KeyPath& place : places_of(path)) {
    const RegistryKey* found = find_key(top, place);
    if (found == nullptr) continue;
    if (!found->children.empty() || is_permanent(place)) return ERROR_ACCESS_DENIED;
    changed = remove_key(top, place);
    return NO_ERROR;
  }
  return ERROR_FILE_NOT_FOUND;
}

// No permanent key is inside: the keys above one are permanent too.
DWORD remove_whole_tree(RegistryKey& top, const KeyPath& path, bool& changed) {
  const std::vector<KeyPath> places = places_of(path);
  if (std::ranges::any_of(places, is_permanent)) return ERROR_ACCESS_DENIED;
  for (const KeyPath& place : places) {
    if (remove_key(top, place)) changed = true;
  }
  return changed ? NO_ERROR : ERROR_FILE_NOT_FOUND;
}

}  // namespace

}  // namespace zdr::platform

using namespace zdr::platform;

LSTATUS RegCreateKeyExW(HKEY key, LPCWSTR sub_key, DWORD reserved, LPWSTR, DWORD, REGSAM access,
                        LPSECURITY_ATTRIBUTES, HKEY* result, LPDWORD disposition) noexcept {
  if (sub_key == nullptr || reserved != 0 || result == nullptr) return ERROR_INVALID_PARAMETER;
  bool made = false;
  // An existing key is opened even if the store cannot be written.
  LSTATUS status = open_key(key, sub_key, access, result);
  if (status == ERROR_FILE_NOT_FOUND) status = make_and_open_key(key, sub_key, access, result, made);
  if (status == ERROR_SUCCESS && disposition != nullptr) {
    *disposition = made ? REG_CREATED_NEW_KEY : REG_OPENED_EXISTING_KEY;
  }
  return status;
}

LSTATUS RegOpenKeyExW(HKEY key, LPCWSTR sub_key, DWORD, REGSAM access, HKEY* result) noexcept {
  if (result == nullptr) return ERROR_INVALID_PARAMETER;
  *result = nullptr;
  return open_key(key, sub_key, access, result);
}

LSTATUS RegCloseKey(HKEY key) noexcept {
  const RegistryLock lock;
  return static_cast<LSTATUS>(guarded([&] { return Registry::instance().handles.close(key); }));
}

LSTATUS RegDeleteKeyW(HKEY key, LPCWSTR sub_key) noexcept {
  if (sub_key == nullptr) return ERROR_INVALID_PARAMETER;
  return change_registry([&](Registry& registry, bool& changed) -> DWORD {
    KeyPath path;
    const DWORD error = resolve_sub_key(registry, key, sub_key, path);
    return error == NO_ERROR ? remove_single_key(registry.store.tree(), path, changed) : error;
  });
}

LSTATUS RegDeleteTreeW(HKEY key, LPCWSTR sub_key) noexcept {
  if (text_or_empty(sub_key).empty()) return ERROR_INVALID_PARAMETER;
  return change_registry([&](Registry& registry, bool& changed) -> DWORD {
    KeyPath path;
    const DWORD error = resolve_sub_key(registry, key, sub_key, path);
    return error == NO_ERROR ? remove_whole_tree(registry.store.tree(), path, changed) : error;
  });
}
