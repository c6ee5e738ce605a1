// Builds ID3 tags, also invalid ones: every field has the value that the caller passes.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "mediakit/boxes/box_builder.h"

namespace zdr::test {

inline Bytes bytes_of(std::string_view text) {
  return Bytes(text.begin(), text.end());
}

// A `claimed_size` of -1 means the true size.
inline Bytes id3v2(uint8_t version, uint8_t flags, const Bytes& body, int64_t claimed_size = -1) {
  const uint64_t size = claimed_size < 0 ? body.size() : static_cast<uint64_t>(claimed_size);
  Fields tag;
  tag.text("ID3").u8(version).u8(0).u8(flags);
  for (int shift = 21; shift >= 0; shift -= 7) tag.u8(size >> shift & (shift == 21 ? 0xFF : 0x7F));
  return tag.append(body).bytes;
}

inline Bytes v23_frame(std::string_view id, const Bytes& body, uint8_t second_flags = 0) {
  return Fields().text(id).u32(body.size()).u8(0).u8(second_flags).append(body).bytes;
}

inline Bytes v22_frame(std::string_view id, const Bytes& body) {
  return Fields().text(id).u24(body.size()).append(body).bytes;
}

// Returns 128 bytes; short fields are padded with zeros.
inline Bytes id3v1(std::string_view title, std::string_view artist, std::string_view year, uint8_t genre) {
  Bytes tag(128, 0);
  const auto put = [&tag](size_t at, std::string_view text) {
    for (const char character : text) tag[at++] = static_cast<uint8_t>(character);
  };
  put(0, "TAG");
  put(3, title);
  put(33, artist);
  put(93, year);
  tag[127] = genre;
  return tag;
}

}  // namespace zdr::test
