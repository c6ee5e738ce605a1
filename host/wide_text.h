// Converts between UTF-8 and the platform's UTF-16.
#pragma once

#include <string>
#include <string_view>

namespace zdr::host {

// Lone surrogates survive the round trip.
std::string to_utf8(std::u16string_view text);
std::u16string to_wide(std::string_view text);

}  // namespace zdr::host
