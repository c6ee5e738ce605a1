// Converts file names between UTF-16, as the platform's functions take them, and the UTF-8 of the system.
#pragma once

#include <string>
#include <string_view>

namespace zdr::platform {

// Lone surrogates become 3 bytes each, so that any UTF-16 name survives the round trip; ill-formed bytes
// become U+FFFD.
std::string utf8_file_name(std::u16string_view name);
std::u16string utf16_file_name(std::string_view name);

}  // namespace zdr::platform
