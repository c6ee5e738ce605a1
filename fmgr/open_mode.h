// What a C mode string means to the manager.
#ifndef ZDR_FMGR_OPEN_MODE_H
#define ZDR_FMGR_OPEN_MODE_H

#include <cstdint>
#include <optional>
#include <string_view>

namespace zdr::fmgr {

// Together with the descriptor the key under which streams share a device.
enum class AccessClass : uint32_t { kRead = 0, kUpdate = 1, kWrite = 2, kAppend = 3 };

// Nothing when the string names no access.
std::optional<AccessClass> access_class(std::string_view mode);

// The mode in which the device is opened (OS_OPEN_...), which may be one that no device accepts.
uint32_t os_open_mode(std::string_view mode);

}  // namespace zdr::fmgr

#endif
