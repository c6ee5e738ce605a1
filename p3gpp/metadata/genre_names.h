// The names of the numeric genres of item lists.
#pragma once

#include <cstdint>
#include <string_view>

namespace zdr::p3gpp {

// Returns the name for the code of a gnre item; empty for a code without a name.
std::string_view genre_name(uint16_t code);

}  // namespace zdr::p3gpp
