// The public functions that open, make and remove keys.
#include "platform/win32/runtime/registry/registry_access.h"
#include "platform/win32/win32_registry.h"

namespace zdr::platform {

namespace {

constexpr size_t kMostNewLevels = 32;

std::u16string_view text_or_empty(LPCWSTR text) noexcept {
  return text != nullptr ? std::u16string_view(text) : std::u16string_view();
}

// The path of a sub key of an open key. Whether sub keys may be made or removed is a matter of the key
// itself: a handle opened for reading will do.
DWORD resolve_sub_key(Registry& registry, HKEY key, LPCWSTR sub_key, KeyPath& path) {
  const DWORD error = registry.handles.resolve(key, 0, registry.store.tree(), path);
  return error == NO_ERROR ? append_names(path, text_or_empty(sub_key)) : error;
}

// Nothing may come directly below these roots but what is there.
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
  changed = true;
  make_key(top, place);
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
    const DWORD error = make_missing(registry.store.tree(), path, changed);
    if (error == NO_ERROR) opened = registry.handles.open(path, access);
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

// Of a path below HKEY_CLASSES_ROOT the place that hides the other goes.
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

bool empty_key(RegistryKey& key) noexcept {
  const bool had_content = !key.children.empty() || !key.values.empty();
  key = RegistryKey();
  return had_content;
}

DWORD remove_whole_tree(RegistryKey& top, const KeyPath& path, bool keep_key, bool& changed) {
  for (const KeyPath& place : places_of(path)) {
    if (!keep_key && is_permanent(place)) return ERROR_ACCESS_DENIED;
    RegistryKey* found = find_key(top, place);
    if (found == nullptr) continue;
    if (keep_key ? empty_key(*found) : remove_key(top, place)) changed = true;
  }
  add_permanent_keys(top);
  return changed || keep_key ? NO_ERROR : ERROR_FILE_NOT_FOUND;
}

}  // namespace

}  // namespace zdr::platform

using namespace zdr::platform;

LSTATUS RegCreateKeyExW(HKEY key, LPCWSTR sub_key, DWORD reserved, LPWSTR, DWORD, REGSAM access,
                        LPSECURITY_ATTRIBUTES, HKEY* result, LPDWORD disposition) noexcept {
  if (sub_key == nullptr || reserved != 0 || result == nullptr) return ERROR_INVALID_PARAMETER;
  bool made = false;
  // A key that is there is opened also where nothing may be written.
  LSTATUS status = open_key(key, sub_key, access, result);
  if (status == ERROR_FILE_NOT_FOUND) status = make_and_open_key(key, sub_key, access, result, made);
  if (status == ERROR_SUCCESS && disposition != nullptr) {
    *disposition = made ? REG_CREATED_NEW_KEY : REG_OPENED_EXISTING_KEY;
  }
  return status;
}

LSTATUS RegCreateKeyW(HKEY key, LPCWSTR sub_key, HKEY* result) noexcept {
  return RegCreateKeyExW(key, sub_key, 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS, nullptr, result,
                         nullptr);
}

LSTATUS RegOpenKeyExW(HKEY key, LPCWSTR sub_key, DWORD, REGSAM access, HKEY* result) noexcept {
  if (result == nullptr) return ERROR_INVALID_PARAMETER;
  *result = nullptr;
  return open_key(key, sub_key, access, result);
}

LSTATUS RegCloseKey(HKEY key) noexcept {
  const RegistryTurn turn;
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
  return change_registry([&](Registry& registry, bool& changed) -> DWORD {
    KeyPath path;
    const DWORD error = resolve_sub_key(registry, key, sub_key, path);
    if (error != NO_ERROR) return error;
    return remove_whole_tree(registry.store.tree(), path, text_or_empty(sub_key).empty(), changed);
  });
}
