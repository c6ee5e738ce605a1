// RegSetValueExW: stores a value in a key.
#include "platform/win32/runtime/registry/registry_access.h"
#include "platform/win32/win32_registry.h"

namespace zdr::platform {

namespace {

RegistryValue make_value(DWORD type, const BYTE* data, size_t bytes) {
  return {type, bytes == 0 ? std::vector<BYTE>() : std::vector<BYTE>(data, data + bytes)};
}

// Returns the key that stores a new value of the path, and creates it if no place of the path has it.
RegistryKey* key_to_write(RegistryKey& top, const KeyPath& path) {
  for (const KeyPath& place : places_of(path)) {
    if (RegistryKey* key = find_key(top, place); key != nullptr) return key;
  }
  return &make_key(top, place_for_new_key(path));
}

}  // namespace

}  // namespace zdr::platform

using namespace zdr::platform;

LSTATUS RegSetValueExW(HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data,
                       DWORD bytes) noexcept {
  const std::u16string_view value_name = text_or_empty(name);
  if (reserved != 0 || value_name.size() > kLongestValueName) return ERROR_INVALID_PARAMETER;
  if (data == nullptr && bytes != 0) return ERROR_NOACCESS;
  return change_registry([&](Registry& registry, bool& changed) -> DWORD {
    KeyPath path;
    RegistryKey& top = registry.store.tree();
    const DWORD error = registry.handles.resolve(key, KEY_SET_VALUE, top, path);
    if (error != NO_ERROR) return error;
    RegistryValue value = make_value(type, data, bytes);
    RegistryKey& written = *key_to_write(top, path);
    const auto present = written.values.find(value_name);
    if (present != written.values.end() && present->second == value) return NO_ERROR;
    written.values.insert_or_assign(std::u16string(value_name), std::move(value));
    changed = true;
    return NO_ERROR;
  });
}
