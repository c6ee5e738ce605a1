// The statuses of the parser in words.
#pragma once

#include <cstdint>
#include <string>

namespace zdr::host {

std::string describe_status(int32_t status);

}  // namespace zdr::host
