#include "platform/win32/runtime/registry/value_access.h"

#include <cstring>

namespace zdr::platform {

ValueList values_of(const RegistryKey& top, const KeyPath& path) {
  ValueList list;
  for (const KeyPath& place : places_of(path)) {
    const RegistryKey* key = find_key(top, place);
    if (key == nullptr) continue;
    for (const auto& [name, value] : key->values) list.emplace(name, &value);
  }
  return list;
}

NameList sub_keys_of(const RegistryKey& top, const KeyPath& path) {
  NameList list;
  for (const KeyPath& place : places_of(path)) {
    const RegistryKey* key = find_key(top, place);
    if (key == nullptr) continue;
    for (const auto& [name, child] : key->children) list.emplace(name, child.get());
  }
  return list;
}

DWORD hand_out_data(const RegistryValue& value, LPDWORD type, LPBYTE data, LPDWORD bytes) noexcept {
  if (data != nullptr && bytes == nullptr) return ERROR_INVALID_PARAMETER;
  if (type != nullptr) *type = value.type;
  if (bytes == nullptr) return NO_ERROR;
  const DWORD room = *bytes;
  *bytes = static_cast<DWORD>(value.data.size());
  if (data == nullptr) return NO_ERROR;
  if (room < value.data.size()) return ERROR_MORE_DATA;
  if (!value.data.empty()) std::memcpy(data, value.data.data(), value.data.size());
  return NO_ERROR;
}

DWORD hand_out_name(const std::u16string& name, LPWSTR buffer, LPDWORD characters) noexcept {
  if (buffer == nullptr || characters == nullptr) return ERROR_INVALID_PARAMETER;
  if (*characters <= name.size()) return ERROR_MORE_DATA;
  std::memcpy(buffer, name.c_str(), (name.size() + 1) * sizeof(WCHAR));
  *characters = static_cast<DWORD>(name.size());
  return NO_ERROR;
}

}  // namespace zdr::platform
