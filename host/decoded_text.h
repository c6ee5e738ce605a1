// Bytes and numbers of a file as people and programs read them.
#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <span>
#include <string>
#include <string_view>

namespace zdr::host {

struct DecodedText {
  std::string utf8;      // without terminator; U+FFFD for what is invalid
  bool is_valid = true;  // nothing had to be replaced
};

// UTF-16 with a byte order mark, else UTF-8. NULs at the end are dropped, half a one included: the other half
// may have been taken for a number that a text ends with.
DecodedText decode_text(std::span<const uint8_t> bytes);

// Of a text that decode_text() takes: what of its first `limit` bytes is whole characters.
size_t front_length(std::span<const uint8_t> text, size_t limit);

// On a line of a terminal: control characters as \xNN (lower case), so that no name or tag moves the cursor.
std::string printable(std::string_view utf8);

// Four characters of a box type, taken as Latin-1, as UTF-8.
std::string type_text(std::string_view type);

// "eng" from 15 bits of ISO 639-2/T; "0x...." for what is no language.
std::string language_text(uint32_t packed);

// A signed number of 16.16 bits.
double from_fixed(uint32_t value);

// Lower-case digits of at most `limit` bytes.
std::string hex_text(std::span<const uint8_t> bytes, size_t limit = SIZE_MAX);

// Adds `name`: the text, and `name`_hex with its bytes when it is not valid. Of a text above `limit` bytes
// only the front, and `name`_bytes with its length; of its bytes at most `hex_limit`.
void add_text(nlohmann::ordered_json& object, const std::string& name, std::span<const uint8_t> bytes,
              size_t limit = SIZE_MAX, size_t hex_limit = SIZE_MAX);

// The same for the name of a file, which is UTF-8 whatever it begins with.
void add_name(nlohmann::ordered_json& object, const std::string& name, std::string_view file);

}  // namespace zdr::host
