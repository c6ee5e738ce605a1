// What a C mode string means to the manager.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace zdr::fmgr {

// Streams share a device when their descriptors and their access classes are the same.
enum class AccessClass : uint32_t { kRead = 0, kUpdate = 1, kWrite = 2, kAppend = 3 };

// Empty if the string names no access.
std::optional<AccessClass> access_class(std::string_view mode);

// The OS_OPEN_ mode in which the device is opened, or OS_OPEN_APPEND + 1, which no device accepts.
uint32_t os_open_mode(std::string_view mode);

}  // namespace zdr::fmgr
