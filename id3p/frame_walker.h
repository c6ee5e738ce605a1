// Walking over the frames of an ID3v2.2 or ID3v2.3 tag.
#pragma once

#include <cstdint>
#include <span>

#include "id3p/id3p.h"

namespace zdr::id3p {

// `flags` is the flag byte of the tag header. Fills the texts, and of version 2.3 the picture.
int32_t walk_v22_frames(uint8_t flags, std::span<const uint8_t> body, ID3P_Text& text);
int32_t walk_v23_frames(uint8_t flags, std::span<const uint8_t> body, ID3P_Text& text);

}  // namespace zdr::id3p
