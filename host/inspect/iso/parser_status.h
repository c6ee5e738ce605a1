// The statuses of the parser in words.
#pragma once

#include <cstdint>
#include <string>

namespace zdr::host {

std::string describe_status(int32_t status);
// Of the lookup of a sample, "it", in the sample tables.
std::string describe_lookup(int32_t status);

}  // namespace zdr::host
