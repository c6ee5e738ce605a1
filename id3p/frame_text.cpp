// Decodes the text encodings of ID3v2 frames: single bytes of the ANSI code page, and UTF-16 with a byte
// order mark.
#include "id3p/frame_text.h"

#include <algorithm>
#include <array>
#include <new>

#include "os/os.h"

namespace zdr::id3p {
namespace {

constexpr size_t kMarkBytes = 2;
constexpr size_t kUnitBytes = 2;
constexpr char16_t kSpace = u' ';

bool is_big_endian_mark(Bytes bytes) {
  return bytes.size() >= kMarkBytes && bytes[0] == 0xFE && bytes[1] == 0xFF;
}

bool is_little_endian_mark(Bytes bytes) {
  return bytes.size() >= kMarkBytes && bytes[0] == 0xFF && bytes[1] == 0xFE;
}

EncodedText find_utf16_text(Bytes bytes, ByteOrderMark mark) {
  const bool little_endian = is_little_endian_mark(bytes);
  const bool has_mark = little_endian || is_big_endian_mark(bytes);
  if (mark == ByteOrderMark::kOptional && !has_mark) return {Encoding::kUtf16, false, bytes};
  bytes = bytes.subspan(std::min(bytes.size(), kMarkBytes));
  // Kept: where a mark is mandatory, an odd length makes the text empty. It still replaces an earlier one.
  if (mark == ByteOrderMark::kTaken && bytes.size() % kUnitBytes != 0) bytes = {};
  return {Encoding::kUtf16, little_endian, bytes};
}

// Kept: both bytes of a big-endian unit are signed, so a low byte of 0x80 or more sets the high byte to 0xFF.
char16_t big_endian_unit(uint8_t high, uint8_t low) {
  const uint32_t upper = static_cast<uint32_t>(static_cast<int8_t>(high)) << 8;
  return static_cast<char16_t>(upper | static_cast<uint32_t>(static_cast<int8_t>(low)));
}

size_t unit_count(const EncodedText& text) {
  return text.bytes.size() / kUnitBytes;
}

char16_t unit_at(const EncodedText& text, size_t index) {
  const uint8_t first = text.bytes[index * kUnitBytes];
  const uint8_t second = text.bytes[index * kUnitBytes + 1];
  return text.little_endian ? static_cast<char16_t>(second << 8 | first) : big_endian_unit(first, second);
}

Units make_units(size_t length) {
  return Units(new (std::nothrow) char16_t[length + 1]());
}

// Returns the units from `first` to the next zero unit or the end.
Units utf16_text(const EncodedText& text, size_t first) {
  Units units = make_units(unit_count(text));
  if (!units) return units;
  for (size_t i = first; i < unit_count(text); ++i) {
    units[i - first] = unit_at(text, i);
    if (units[i - first] == 0) break;
  }
  return units;
}

Units utf16_comment(const EncodedText& text) {
  for (size_t i = 0; i < unit_count(text); ++i) {
    // Kept: a space ends the description, like a zero unit.
    if (unit_at(text, i) == 0 || unit_at(text, i) == kSpace) return utf16_text(text, i + 1);
  }
  return utf16_text(text, 0);
}

Bytes up_to_zero(Bytes bytes) {
  return {bytes.begin(), std::find(bytes.begin(), bytes.end(), 0)};
}

// Converts text without zero bytes, in pieces, because the conversion takes text with a zero at its end.
void convert(Bytes text, char16_t* out) {
  constexpr size_t kPieceBytes = 512;
  std::array<char, kPieceBytes + 1> piece;
  while (!text.empty()) {
    const Bytes part = text.first(std::min(text.size(), kPieceBytes));
    *std::copy(part.begin(), part.end(), piece.begin()) = '\0';
    OS_AnsiToWide(piece.data(), out, static_cast<uint32_t>(part.size()));
    out += part.size();
    text = text.subspan(part.size());
  }
}

Units single_byte_text(Bytes bytes) {
  Units units = make_units(bytes.size());
  if (units) convert(up_to_zero(bytes), units.get());
  return units;
}

Comment single_byte_comment(Bytes bytes) {
  const Bytes description = up_to_zero(bytes);
  const Bytes rest = bytes.subspan(std::min(bytes.size(), description.size() + 1));
  const bool has_terminator = description.size() < bytes.size();
  if (has_terminator && rest.empty()) return {};
  Units units = make_units(bytes.size());
  if (!units) return {nullptr, true};
  const Bytes text = up_to_zero(rest);
  convert(text, units.get());
  // Kept: a text without a terminator is followed by the rest of a longer description.
  if (text.size() == rest.size() && description.size() > text.size()) {
    convert(description.subspan(text.size()), units.get() + text.size());
  }
  return {std::move(units), false};
}

}  // namespace

std::optional<EncodedText> find_text(Bytes frame_body, uint8_t encoding, ByteOrderMark mark) {
  Bytes bytes = frame_body.empty() ? frame_body : frame_body.subspan(1);
  if (encoding == static_cast<uint8_t>(Encoding::kUtf16)) return find_utf16_text(bytes, mark);
  if (encoding != static_cast<uint8_t>(Encoding::kSingleByte)) return std::nullopt;
  // Kept: leading spaces and zeros are removed, in this encoding only.
  while (!bytes.empty() && (bytes.front() == 0 || bytes.front() == ' ')) bytes = bytes.subspan(1);
  return EncodedText{Encoding::kSingleByte, false, bytes};
}

Units text_of(const EncodedText& text) {
  if (text.encoding == Encoding::kUtf16) return utf16_text(text, 0);
  return single_byte_text(text.bytes);
}

Comment comment_of(const EncodedText& text) {
  if (text.encoding == Encoding::kSingleByte) return single_byte_comment(text.bytes);
  Units units = utf16_comment(text);
  const bool out_of_memory = !units;
  return {std::move(units), out_of_memory};
}

}  // namespace zdr::id3p
