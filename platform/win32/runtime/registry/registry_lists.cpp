// The public functions that tell what a key contains.
#include <algorithm>
#include <iterator>

#include "platform/win32/runtime/registry/value_access.h"
#include "platform/win32/win32_registry.h"

namespace zdr::platform {

namespace {

// What `list` (values_of or sub_keys_of) gives for an open key is passed to `body`.
template <class List, class Body>
LSTATUS with_list(HKEY key, REGSAM access, List list, Body body) noexcept {
  return read_registry([&](Registry& registry) -> DWORD {
    KeyPath path;
    const RegistryKey& top = registry.store.tree();
    const DWORD error = registry.handles.resolve(key, access, top, path);
    return error == NO_ERROR ? body(list(top, path), registry.store.written()) : error;
  });
}

template <class T>
void tell(T* place, T value) noexcept {
  if (place != nullptr) *place = value;
}

template <class List>
DWORD longest_name(const List& list) noexcept {
  size_t longest = 0;
  for (const auto& [name, item] : list) longest = std::max(longest, name.size());
  return static_cast<DWORD>(longest);
}

DWORD longest_data(const ValueList& values) noexcept {
  size_t longest = 0;
  for (const auto& [name, value] : values) longest = std::max(longest, value->data.size());
  return static_cast<DWORD>(longest);
}

// Keys have no class names.
void tell_no_class(LPWSTR name, LPDWORD characters) noexcept {
  if (name != nullptr && characters != nullptr && *characters != 0) *name = 0;
  tell<DWORD>(characters, 0);
}

}  // namespace

}  // namespace zdr::platform

using namespace zdr::platform;

LSTATUS RegEnumKeyExW(HKEY key, DWORD index, LPWSTR name, LPDWORD characters, LPDWORD reserved,
                      LPWSTR class_name, LPDWORD class_characters, FILETIME* written) noexcept {
  if (reserved != nullptr) return ERROR_INVALID_PARAMETER;
  const auto body = [&](const NameList& keys, FILETIME time) -> DWORD {
    if (index >= keys.size()) return ERROR_NO_MORE_ITEMS;
    const DWORD error = hand_out_name(std::next(keys.begin(), index)->first, name, characters);
    if (error != NO_ERROR) return error;
    tell_no_class(class_name, class_characters);
    tell(written, time);
    return NO_ERROR;
  };
  return with_list(key, KEY_ENUMERATE_SUB_KEYS, sub_keys_of, body);
}

LSTATUS RegEnumValueW(HKEY key, DWORD index, LPWSTR name, LPDWORD characters, LPDWORD reserved, LPDWORD type,
                      LPBYTE data, LPDWORD bytes) noexcept {
  if (reserved != nullptr) return ERROR_INVALID_PARAMETER;
  const auto body = [&](const ValueList& values, FILETIME) -> DWORD {
    if (index >= values.size()) return ERROR_NO_MORE_ITEMS;
    const auto found = std::next(values.begin(), index);
    const DWORD error = hand_out_name(found->first, name, characters);
    return error == NO_ERROR ? hand_out_data(*found->second, type, data, bytes) : error;
  };
  return with_list(key, KEY_QUERY_VALUE, values_of, body);
}

LSTATUS RegQueryInfoKeyW(HKEY key, LPWSTR class_name, LPDWORD class_characters, LPDWORD reserved,
                         LPDWORD sub_keys, LPDWORD longest_sub_key, LPDWORD longest_class, LPDWORD values,
                         LPDWORD longest_value_name, LPDWORD longest_value_data, LPDWORD security_bytes,
                         FILETIME* written) noexcept {
  if (reserved != nullptr) return ERROR_INVALID_PARAMETER;
  const auto both = [](const RegistryKey& top, const KeyPath& path) {
    return std::pair(sub_keys_of(top, path), values_of(top, path));
  };
  const auto body = [&](const std::pair<NameList, ValueList>& content, FILETIME time) -> DWORD {
    tell_no_class(class_name, class_characters);
    tell(sub_keys, static_cast<DWORD>(content.first.size()));
    tell(longest_sub_key, longest_name(content.first));
    tell<DWORD>(longest_class, 0);
    tell(values, static_cast<DWORD>(content.second.size()));
    tell(longest_value_name, longest_name(content.second));
    tell(longest_value_data, longest_data(content.second));
    tell<DWORD>(security_bytes, 0);
    tell(written, time);
    return NO_ERROR;
  };
  return with_list(key, KEY_QUERY_VALUE, both, body);
}
