// Decodes bytes of unknown encoding into valid UTF-8 and makes text safe to print.
#include "host/text/decoded_text.h"

#include <algorithm>
#include <array>
#include <bit>
#include <initializer_list>

#include "platform/win32/utf.h"

namespace zdr::host {
namespace {

using platform::DecodedPoint;
using platform::kReplacementCharacter;

// Collects characters into pieces. NULs are held back until a character follows.
class Pieces {
 public:
  explicit Pieces(const std::function<void(std::string_view)>& put) : put_(put) {}

  void add(char32_t code, bool is_valid) {
    is_valid_ = is_valid_ && is_valid;
    if (code == 0) {
      ++nuls_;
      return;
    }
    for (; nuls_ > 0; --nuls_) append(0);
    append(code);
  }
  // Returns whether all characters were valid.
  bool end() {
    flush();
    return is_valid_;
  }

 private:
  void append(char32_t code) {
    char character[4];
    const size_t length = platform::encode_utf8(code, character);
    if (used_ + length > piece_.size()) flush();
    used_ += std::string_view(character, length).copy(piece_.data() + used_, length);
  }
  void flush() {
    put_({piece_.data(), used_});
    used_ = 0;
  }

  const std::function<void(std::string_view)>& put_;
  std::array<char, 1024> piece_;
  size_t used_ = 0;
  size_t nuls_ = 0;
  bool is_valid_ = true;
};

void add_utf16(Bytes bytes, bool big_endian, Pieces& pieces) {
  const auto unit_at = [&](size_t at) {
    return static_cast<char16_t>(big_endian ? bytes[at] << 8 | bytes[at + 1]
                                            : bytes[at + 1] << 8 | bytes[at]);
  };
  size_t at = 0;
  while (at + 1 < bytes.size()) {
    const char16_t units[] = {unit_at(at), at + 3 < bytes.size() ? unit_at(at + 2) : u'\0'};
    const DecodedPoint decoded = platform::decode_utf16({units, 2});
    pieces.add(decoded.well_formed ? decoded.point : kReplacementCharacter, decoded.well_formed);
    at += 2 * decoded.units;
  }
  if (at < bytes.size() && bytes[at] != 0) pieces.add(kReplacementCharacter, false);  // half a UTF-16 unit
}

void add_utf8(Bytes bytes, Pieces& pieces) {
  while (!bytes.empty()) {
    char32_t code = 0;
    const bool is_valid = take_character(bytes, code);
    pieces.add(code, is_valid);
  }
}

bool starts_with(Bytes bytes, std::initializer_list<uint8_t> mark) {
  return bytes.size() >= mark.size() && std::equal(mark.begin(), mark.end(), bytes.begin());
}

bool is_utf16(Bytes bytes) {
  return starts_with(bytes, {0xFE, 0xFF}) || starts_with(bytes, {0xFF, 0xFE});
}

}  // namespace

bool take_character(Bytes& utf8, char32_t& code) {
  const std::string_view text(reinterpret_cast<const char*>(utf8.data()), utf8.size());
  const DecodedPoint decoded = platform::decode_utf8(text, false);
  code = decoded.point;
  utf8 = utf8.subspan(decoded.well_formed ? decoded.units : 1);
  return decoded.well_formed;
}

bool is_utf8(Bytes bytes) {
  char32_t code = 0;
  while (!bytes.empty()) {
    if (!take_character(bytes, code)) return false;
  }
  return true;
}

bool decode_text(Bytes bytes, TextEncoding encoding, const std::function<void(std::string_view utf8)>& put) {
  Pieces pieces(put);
  if (encoding == TextEncoding::kWide) {
    add_utf16(bytes, std::endian::native == std::endian::big, pieces);
  } else if (is_utf16(bytes)) {
    add_utf16(bytes.subspan(2), bytes[0] == 0xFE, pieces);
  } else {
    add_utf8(starts_with(bytes, {0xEF, 0xBB, 0xBF}) ? bytes.subspan(3) : bytes, pieces);
  }
  return pieces.end();
}

DecodedText decode_text(Bytes bytes) {
  DecodedText text;
  text.is_valid =
      decode_text(bytes, TextEncoding::kUnknown, [&text](std::string_view piece) { text.utf8 += piece; });
  return text;
}

size_t front_length(Bytes text, size_t limit) {
  if (text.size() <= limit) return text.size();
  if (is_utf16(text)) return limit - limit % 2;
  size_t length = limit;
  constexpr size_t kMostFollowers = 3;
  while (length > 0 && limit - length < kMostFollowers && (text[length] & 0xC0) == 0x80) --length;
  return length;
}

std::string printable(std::string_view utf8) {
  std::string out;
  for (Bytes rest = as_bytes(utf8); !rest.empty();) {
    const Bytes before = rest;
    char32_t code = 0;
    const bool is_valid = take_character(rest, code);
    const bool is_control = code < 0x20 || (code >= 0x7F && code < 0xA0);
    if (is_valid && !is_control) {
      platform::append_utf8(out, code);
    } else {
      const size_t length = before.size() - rest.size();
      out.append("\\x").append(
          hex_text(before.subspan(length - 1, 1)));  // U+0080 to U+009F end in their number
    }
  }
  return out;
}

std::string type_text(std::string_view type) {
  std::string out;
  for (const char character : type) platform::append_utf8(out, static_cast<uint8_t>(character));
  return out;
}

bool is_ascii_text(std::string_view text) {
  return std::ranges::all_of(text, [](char c) { return c >= 0x20 && c < 0x7F; });
}

std::string language_text(uint32_t packed) {
  std::string text;
  bool is_language = packed < 0x8000;
  for (const uint32_t shift : {10U, 5U, 0U}) {
    const uint32_t letter = packed >> shift & 0x1F;
    is_language = is_language && letter >= 1 && letter <= 26;
    text += static_cast<char>('a' + letter - 1);
  }
  if (is_language) return text;
  const std::array<uint8_t, 2> bytes = {static_cast<uint8_t>(packed >> 8), static_cast<uint8_t>(packed)};
  return "0x" + hex_text(bytes);
}

double from_fixed(uint32_t value) {
  return static_cast<int32_t>(value) / 65536.0;
}

std::string hex_text(Bytes bytes, size_t limit) {
  constexpr std::string_view kHex = "0123456789abcdef";
  std::string text;
  for (const uint8_t byte : bytes.first(std::min(limit, bytes.size()))) {
    text.append({kHex[byte >> 4], kHex[byte & 15]});
  }
  return text;
}

}  // namespace zdr::host
