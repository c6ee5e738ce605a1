// RegQueryValueExW: reads a value of a key.
#include <cstring>

#include "platform/win32/runtime/registry/registry_access.h"
#include "platform/win32/win32_registry.h"

namespace zdr::platform {

namespace {

// Fills a caller's buffer. *bytes: in its size, out the size of the data. A null buffer requests the size
// alone.
DWORD copy_data_out(const RegistryValue& value, LPDWORD type, LPBYTE data, LPDWORD bytes) noexcept {
  if (data != nullptr && bytes == nullptr) return ERROR_INVALID_PARAMETER;
  if (type != nullptr) *type = value.type;
  if (bytes == nullptr) return NO_ERROR;
  const DWORD capacity = *bytes;
  *bytes = static_cast<DWORD>(value.data.size());
  if (data == nullptr) return NO_ERROR;
  if (capacity < value.data.size()) return ERROR_MORE_DATA;
  if (!value.data.empty()) std::memcpy(data, value.data.data(), value.data.size());
  return NO_ERROR;
}

}  // namespace

}  // namespace zdr::platform

using namespace zdr::platform;

LSTATUS RegQueryValueExW(HKEY key, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data,
                         LPDWORD bytes) noexcept {
  if (reserved != nullptr) return ERROR_INVALID_PARAMETER;
  return read_registry([&](Registry& registry) -> DWORD {
    const RegistryKey& top = registry.store.tree();
    KeyPath path;
    const DWORD error = registry.handles.resolve(key, KEY_QUERY_VALUE, top, path);
    if (error != NO_ERROR) return error;
    for (const KeyPath& place : places_of(path)) {
      const RegistryKey* const found = find_key(top, place);
      if (found == nullptr) continue;
      const auto value = found->values.find(text_or_empty(name));
      if (value != found->values.end()) return copy_data_out(value->second, type, data, bytes);
    }
    return ERROR_FILE_NOT_FOUND;
  });
}
