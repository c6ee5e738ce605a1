// Extracts the text of an ID3v2 frame: finds its encoding and its bytes, and converts them to UTF-16.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>

namespace zdr::id3p {

using Bytes = std::span<const uint8_t>;
using Units = std::unique_ptr<char16_t[]>;  // UTF-16, zero-terminated

enum class Encoding : uint8_t { kSingleByte = 0, kUtf16 = 1 };

enum class ByteOrderMark {
  kTaken,    // the first two bytes are skipped as the mark, whatever they are
  kOptional  // without a mark the text begins with the first byte
};

struct EncodedText {
  Encoding encoding;
  bool little_endian;  // of UTF-16
  Bytes bytes;
};

// Finds the text in a frame body, which begins with the encoding byte. Nothing if the encoding is
// unknown; the frame is skipped then.
std::optional<EncodedText> find_text(Bytes frame_body, uint8_t encoding, ByteOrderMark mark);

// Converts the text up to the first zero. Null if out of memory.
Units text_of(const EncodedText& text);

// The text of a comment, which follows a language code and a short description.
struct Comment {
  Units units;  // null without a text, or when out of memory
  bool out_of_memory = false;
};
Comment comment_of(const EncodedText& text);

}  // namespace zdr::id3p
