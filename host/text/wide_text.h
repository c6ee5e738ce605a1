// Converts texts and file names between UTF-8 and the platform's UTF-16.
#pragma once

#include <string>
#include <string_view>

namespace zdr::host {

// Lone surrogates become U+FFFD.
std::string to_utf8(std::u16string_view text);

// Names that are not UTF-8 survive the round trip.
std::u16string wide_file_name(std::string_view name);
std::string native_file_name(std::u16string_view name);

}  // namespace zdr::host
