// Decodes bytes of unknown encoding into valid UTF-8 and makes text safe to print.
#include "host/decoded_text.h"

#include <algorithm>
#include <array>
#include <bit>
#include <initializer_list>

namespace zdr::host {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

void append_utf8(std::string& out, char32_t code) {
  const auto unit = [](char32_t bits) { return static_cast<char>(bits); };
  if (code < 0x80) {
    out += unit(code);
  } else if (code < 0x800) {
    out.append({unit(0xC0 | code >> 6), unit(0x80 | (code & 0x3F))});
  } else if (code < 0x10000) {
    out.append({unit(0xE0 | code >> 12), unit(0x80 | (code >> 6 & 0x3F)), unit(0x80 | (code & 0x3F))});
  } else {
    out.append({unit(0xF0 | code >> 18), unit(0x80 | (code >> 12 & 0x3F)), unit(0x80 | (code >> 6 & 0x3F)),
                unit(0x80 | (code & 0x3F))});
  }
}

bool is_surrogate(char32_t code) {
  return code >= 0xD800 && code < 0xE000;
}

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
    std::string character;  // at most four bytes, which the string stores without allocating
    append_utf8(character, code);
    if (used_ + character.size() > piece_.size()) flush();
    used_ += character.copy(piece_.data() + used_, character.size());
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
  const auto unit = [&](size_t at) {
    return static_cast<char32_t>(big_endian ? bytes[at] << 8 | bytes[at + 1]
                                            : bytes[at + 1] << 8 | bytes[at]);
  };
  size_t at = 0;
  for (; at + 1 < bytes.size(); at += 2) {
    char32_t code = unit(at);
    const bool is_high = code >= 0xD800 && code < 0xDC00;
    if (is_high && at + 3 < bytes.size() && unit(at + 2) >= 0xDC00 && unit(at + 2) < 0xE000) {
      code = 0x10000 + ((code - 0xD800) << 10) + (unit(at + 2) - 0xDC00);
      at += 2;
    }
    const bool is_valid = !is_surrogate(code);
    pieces.add(is_valid ? code : kReplacement, is_valid);
  }
  if (at < bytes.size() && bytes[at] != 0) pieces.add(kReplacement, false);  // half a UTF-16 unit
}

void add_utf8(Bytes bytes, Pieces& pieces) {
  while (!bytes.empty()) {
    char32_t code = 0;
    const bool is_valid = take_character(bytes, code);
    pieces.add(code, is_valid);
  }
}

// Length of the UTF-8 sequence that begins with this byte; 0 if no sequence does.
size_t sequence_length(uint8_t first) {
  if (first < 0x80) return 1;
  if (first >= 0xC2 && first < 0xE0) return 2;
  if (first >= 0xE0 && first < 0xF0) return 3;
  return first >= 0xF0 && first < 0xF5 ? 4 : 0;
}

bool starts_with(Bytes bytes, std::initializer_list<uint8_t> mark) {
  return bytes.size() >= mark.size() && std::equal(mark.begin(), mark.end(), bytes.begin());
}

bool is_utf16(Bytes bytes) {
  return starts_with(bytes, {0xFE, 0xFF}) || starts_with(bytes, {0xFF, 0xFE});
}

}  // namespace

bool take_character(Bytes& utf8, char32_t& code) {
  constexpr std::array<char32_t, 5> kSmallest = {0, 0, 0x80, 0x800, 0x10000};
  const size_t length = sequence_length(utf8[0]);
  bool valid = length != 0 && length <= utf8.size();
  char32_t value = !valid ? 0 : length == 1 ? utf8[0] : utf8[0] & (0x7FU >> length);
  for (size_t i = 1; valid && i < length; ++i) {
    valid = (utf8[i] & 0xC0) == 0x80;
    value = value << 6 | (utf8[i] & 0x3FU);
  }
  valid = valid && value >= kSmallest[length] && value < 0x110000 && !is_surrogate(value);
  code = valid ? value : kReplacement;
  utf8 = utf8.subspan(valid ? length : 1);
  return valid;
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
      append_utf8(out, code);
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
  for (const char character : type) append_utf8(out, static_cast<uint8_t>(character));
  return out;
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
