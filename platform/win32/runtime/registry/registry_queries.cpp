// RegQueryValueExW, RegEnumKeyExW, RegEnumValueW.
#include <cstring>
#include <iterator>
#include <map>
#include <string>

#include "platform/win32/runtime/registry/registry_access.h"
#include "platform/win32/win32_registry.h"

namespace zdr::platform {

namespace {

// The entries of a key by name. Each entry comes from the first place of the key that has its name.
template <class Entry>
using Listing = std::map<std::u16string_view, const Entry*, LessWithoutCase>;

// `entries` is the member of RegistryKey that is listed.
template <class Entry, class Entries>
Listing<Entry> listing_of(const RegistryKey& top, const KeyPath& path, Entries RegistryKey::*entries) {
  Listing<Entry> listing;
  for (const KeyPath& place : places_of(path)) {
    const RegistryKey* key = find_key(top, place);
    if (key == nullptr) continue;
    for (const auto& [name, entry] : key->*entries) listing.emplace(name, &entry);
  }
  return listing;
}

// Passes the listing of an open key to `body`, which returns an error code.
template <class Entries, class Body>
LSTATUS with_listing(HKEY key, REGSAM access, Entries RegistryKey::*entries, Body body) noexcept {
  return read_registry([&](Registry& registry) -> DWORD {
    KeyPath path;
    const RegistryKey& top = registry.store.tree();
    const DWORD error = registry.handles.resolve(key, access, top, path);
    if (error != NO_ERROR) return error;
    return body(listing_of<typename Entries::mapped_type>(top, path, entries));
  });
}

// Fills a caller's buffer. *bytes: in its size, out the size of the data. A null buffer requests the size
// alone.
DWORD copy_data_out(const RegistryValue& value, LPDWORD type, LPBYTE data, LPDWORD bytes) noexcept {
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

// *characters: in the size of the buffer with the NUL, out the length without it.
DWORD copy_name_out(std::u16string_view name, LPWSTR buffer, LPDWORD characters) noexcept {
  if (buffer == nullptr || characters == nullptr) return ERROR_INVALID_PARAMETER;
  if (*characters <= name.size()) return ERROR_MORE_DATA;
  std::memcpy(buffer, name.data(), name.size() * sizeof(WCHAR));
  buffer[name.size()] = 0;
  *characters = static_cast<DWORD>(name.size());
  return NO_ERROR;
}

}  // namespace

}  // namespace zdr::platform

using namespace zdr::platform;

LSTATUS RegQueryValueExW(HKEY key, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data,
                         LPDWORD bytes) noexcept {
  if (reserved != nullptr) return ERROR_INVALID_PARAMETER;
  return with_listing(key, KEY_QUERY_VALUE, &RegistryKey::values,
                      [&](const Listing<RegistryValue>& values) -> DWORD {
                        const auto found = values.find(text_or_empty(name));
                        return found != values.end() ? copy_data_out(*found->second, type, data, bytes)
                                                     : ERROR_FILE_NOT_FOUND;
                      });
}

LSTATUS RegEnumValueW(HKEY key, DWORD index, LPWSTR name, LPDWORD characters, LPDWORD reserved, LPDWORD type,
                      LPBYTE data, LPDWORD bytes) noexcept {
  if (reserved != nullptr) return ERROR_INVALID_PARAMETER;
  return with_listing(key, KEY_QUERY_VALUE, &RegistryKey::values,
                      [&](const Listing<RegistryValue>& values) -> DWORD {
                        if (index >= values.size()) return ERROR_NO_MORE_ITEMS;
                        const auto found = std::next(values.begin(), index);
                        const DWORD error = copy_name_out(found->first, name, characters);
                        return error == NO_ERROR ? copy_data_out(*found->second, type, data, bytes) : error;
                      });
}

LSTATUS RegEnumKeyExW(HKEY key, DWORD index, LPWSTR name, LPDWORD characters, LPDWORD reserved,
                      LPWSTR class_name, LPDWORD class_characters, FILETIME* written) noexcept {
  if (reserved != nullptr || class_name != nullptr || class_characters != nullptr || written != nullptr) {
    return ERROR_INVALID_PARAMETER;
  }
  return with_listing(key, KEY_ENUMERATE_SUB_KEYS, &RegistryKey::children, [&](const auto& keys) -> DWORD {
    if (index >= keys.size()) return ERROR_NO_MORE_ITEMS;
    return copy_name_out(std::next(keys.begin(), index)->first, name, characters);
  });
}
