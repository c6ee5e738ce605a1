// Text of unknown encoding and raw numbers of a file, made readable and safe to print.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "host/text/bytes.h"

namespace zdr::host {

struct DecodedText {
  std::string utf8;      // without terminator; invalid parts replaced by U+FFFD
  bool is_valid = true;  // nothing had to be replaced
};

enum class TextEncoding : uint8_t {
  kUnknown,  // UTF-16 if there is a byte order mark, else UTF-8
  kWide,     // UTF-16 of this machine, without a mark
};

// Passes the text to `put` in pieces of whole characters, so that a long text is never in memory as a whole.
// Drops NULs at the end, and also half of a UTF-16 NUL: the parser may have read the other half as a number
// that follows the text. Returns DecodedText::is_valid.
bool decode_text(Bytes bytes, TextEncoding encoding, const std::function<void(std::string_view utf8)>& put);
DecodedText decode_text(Bytes bytes);

// Takes the first character off UTF-8 that is not empty. False, with U+FFFD and one byte taken, if no valid
// character begins there.
bool take_character(Bytes& utf8, char32_t& code);
bool is_utf8(Bytes bytes);

// Bytes of the complete characters within the first `limit` bytes of a text in the encoding that
// decode_text() would use.
size_t front_length(Bytes text, size_t limit);

// Replaces control characters and bytes that are not UTF-8 by \xNN (lower case), so that no name or tag can
// move the cursor of a terminal.
std::string printable(std::string_view utf8);

// A four-character code, read as Latin-1, in UTF-8.
std::string type_text(std::string_view type);

// True for printable ASCII, as nearly all four-character codes are.
bool is_ascii_text(std::string_view text);

// "eng" for a packed ISO 639-2/T code of 15 bits; "0x...." for anything else.
std::string language_text(uint32_t packed);

// A signed 16.16 fixed-point number.
double from_fixed(uint32_t value);

// Lower-case hexadecimal digits of at most `limit` bytes.
std::string hex_text(Bytes bytes, size_t limit = SIZE_MAX);

}  // namespace zdr::host
