// The public functions that set, tell and remove values.
#include <cstring>

#include "platform/win32/runtime/registry/value_access.h"
#include "platform/win32/win32_registry.h"

namespace zdr::platform {

namespace {

std::u16string_view value_name(LPCWSTR name) noexcept {
  return name != nullptr ? std::u16string_view(name) : std::u16string_view();
}

RegistryValue make_value(DWORD type, const void* data, size_t bytes) {
  const auto* first = static_cast<const BYTE*>(data);
  return {type, bytes == 0 ? std::vector<BYTE>() : std::vector<BYTE>(first, first + bytes)};
}

// The key that a new value of the path goes to; it exists.
RegistryKey* key_to_write(RegistryKey& top, const KeyPath& path) {
  for (const KeyPath& place : places_of(path)) {
    if (RegistryKey* key = find_key(top, place)) return key;
  }
  return &make_key(top, place_for_new_key(path));
}

LSTATUS set_value(HKEY key, std::u16string_view name, const RegistryValue& value) noexcept {
  return change_registry([&](Registry& registry, bool& changed) -> DWORD {
    KeyPath path;
    RegistryKey& top = registry.store.tree();
    const DWORD error = registry.handles.resolve(key, KEY_SET_VALUE, top, path);
    if (error != NO_ERROR) return error;
    RegistryKey& written = *key_to_write(top, path);
    const auto present = written.values.find(name);
    if (present != written.values.end() && present->second == value) return NO_ERROR;
    changed = true;
    written.values.insert_or_assign(std::u16string(name), value);
    return NO_ERROR;
  });
}

LSTATUS set_checked_value(HKEY key, LPCWSTR name, DWORD type, const void* data, DWORD bytes) noexcept {
  if (data == nullptr && bytes != 0) return ERROR_NOACCESS;
  if (value_name(name).size() > kLongestValueName) return ERROR_INVALID_PARAMETER;
  RegistryValue value;
  const DWORD error = guarded([&] {
    value = make_value(type, data, bytes);
    return DWORD{NO_ERROR};
  });
  return error == NO_ERROR ? set_value(key, value_name(name), value) : static_cast<LSTATUS>(error);
}

// Where a value stands in the first place that has it.
DWORD remove_value(RegistryKey& top, const KeyPath& path, std::u16string_view name, bool& changed) {
  for (const KeyPath& place : places_of(path)) {
    RegistryKey* key = find_key(top, place);
    if (key == nullptr) continue;
    const auto found = key->values.find(name);
    if (found == key->values.end()) continue;
    changed = true;
    key->values.erase(found);
    return NO_ERROR;
  }
  return ERROR_FILE_NOT_FOUND;
}

}  // namespace

}  // namespace zdr::platform

using namespace zdr::platform;

LSTATUS RegSetValueExW(HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data,
                       DWORD bytes) noexcept {
  if (reserved != 0) return ERROR_INVALID_PARAMETER;
  return set_checked_value(key, name, type, data, bytes);
}

LSTATUS RegSetValueW(HKEY key, LPCWSTR sub_key, DWORD type, LPCWSTR text, DWORD) noexcept {
  if (type != REG_SZ || text == nullptr) return ERROR_INVALID_PARAMETER;
  HKEY opened = nullptr;
  const WCHAR* name = sub_key != nullptr ? sub_key : u"";
  if (const LSTATUS status = RegCreateKeyW(key, name, &opened); status != ERROR_SUCCESS) return status;
  const size_t bytes = (std::char_traits<WCHAR>::length(text) + 1) * sizeof(WCHAR);
  const LSTATUS status = bytes <= MAXDWORD
                             ? set_checked_value(opened, nullptr, REG_SZ, text, static_cast<DWORD>(bytes))
                             : LSTATUS{ERROR_NO_SYSTEM_RESOURCES};
  RegCloseKey(opened);
  return status;
}

LSTATUS RegQueryValueExW(HKEY key, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data,
                         LPDWORD bytes) noexcept {
  if (reserved != nullptr) return ERROR_INVALID_PARAMETER;
  return read_registry([&](Registry& registry) -> DWORD {
    KeyPath path;
    const RegistryKey& top = registry.store.tree();
    const DWORD error = registry.handles.resolve(key, KEY_QUERY_VALUE, top, path);
    if (error != NO_ERROR) return error;
    const ValueList values = values_of(top, path);
    const auto found = values.find(value_name(name));
    return found != values.end() ? hand_out_data(*found->second, type, data, bytes) : ERROR_FILE_NOT_FOUND;
  });
}

LSTATUS RegDeleteValueW(HKEY key, LPCWSTR name) noexcept {
  return change_registry([&](Registry& registry, bool& changed) -> DWORD {
    KeyPath path;
    RegistryKey& top = registry.store.tree();
    const DWORD error = registry.handles.resolve(key, KEY_SET_VALUE, top, path);
    return error == NO_ERROR ? remove_value(top, path, value_name(name), changed) : error;
  });
}
