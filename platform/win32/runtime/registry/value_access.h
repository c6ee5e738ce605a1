// Values of a key as its handle shows them, and how they and names are handed out.
#pragma once

#include <map>
#include <string>

#include "platform/win32/runtime/registry/registry_access.h"

namespace zdr::platform {

using ValueList = std::map<std::u16string, const RegistryValue*, LessWithoutCase>;
using NameList = std::map<std::u16string, const RegistryKey*, LessWithoutCase>;

// The merged content of all places of a path.
ValueList values_of(const RegistryKey& top, const KeyPath& path);
NameList sub_keys_of(const RegistryKey& top, const KeyPath& path);

// Fills a caller's buffer; *bytes: in its size, out the size of the data. A null buffer asks for the size.
// ERROR_MORE_DATA when it is too small, ERROR_INVALID_PARAMETER for a buffer without a size.
DWORD hand_out_data(const RegistryValue& value, LPDWORD type, LPBYTE data, LPDWORD bytes) noexcept;

// *characters: in the size of the buffer with the NUL, out the length without it. ERROR_MORE_DATA.
DWORD hand_out_name(const std::u16string& name, LPWSTR buffer, LPDWORD characters) noexcept;

}  // namespace zdr::platform
