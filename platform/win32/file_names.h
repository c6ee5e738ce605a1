// Converts file names between the platform's UTF-16 and the system's UTF-8.
#pragma once

#include <string>
#include <string_view>

namespace zdr::platform {

// Lone surrogates become 3 bytes each, so that every UTF-16 name survives the round trip; ill-formed bytes
// become U+FFFD. May throw bad_alloc.
std::string utf8_file_name(std::u16string_view name);
std::u16string utf16_file_name(std::string_view name);

}  // namespace zdr::platform
