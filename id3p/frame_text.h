// The text of an ID3v2 frame: where it starts, how it is encoded, what is kept of it.
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
  kTaken,    // two bytes are taken for the mark, whatever they are
  kOptional  // bytes that are no mark are text
};

struct EncodedText {
  Encoding encoding;
  bool little_endian;  // of UTF-16
  Bytes bytes;
};

// The text of a frame body that starts with its encoding byte. None when the frame is to be skipped.
std::optional<EncodedText> find_text(Bytes frame_body, uint8_t encoding, ByteOrderMark mark);

// Null when out of memory.
Units text_of(const EncodedText& text);

// The text behind the language code and the short description of a comment.
struct Comment {
  Units units;  // null without a text or out of memory
  bool out_of_memory = false;
};
Comment comment_of(const EncodedText& text);

}  // namespace zdr::id3p
