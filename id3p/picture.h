// Reads the attached picture of an ID3v2.3 tag (id3.org: "ID3 tag version 2.3.0", 4.15: APIC).
#pragma once

#include <cstdint>
#include <span>

#include "id3p/id3p.h"

namespace zdr::id3p {

// Reads the picture frames of one tag.
class PictureReader {
 public:
  // Replaces the picture of `text` with that of a frame body. Returns ID3P_OK or a failure, after which
  // the picture holds what was read before it.
  int32_t read(std::span<const uint8_t> frame_body, uint8_t encoding, ID3P_Text& text);

 private:
  bool skip_reported_ = false;
};

}  // namespace zdr::id3p
