// The names of the numeric genres that an item list may hold.
#pragma once

#include <cstdint>
#include <string_view>

namespace zdr::p3gpp {

// The name for the code of a gnre item; empty for a code without one.
std::string_view genre_name(uint16_t code);

}  // namespace zdr::p3gpp
