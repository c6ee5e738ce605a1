// Walks over the frames of an ID3v2.2 or ID3v2.3 tag (id3.org: "ID3 tag version 2.3.0", 3.3) and reads TIT2,
// TPE1, TALB, TYER, COMM, TCON, TRCK, TLEN, TCOM, TOPE, WXXX and APIC, or TT2, TP1, TAL, TYE, COM, TCO, TRK
// and TLE.
#pragma once

#include <cstdint>
#include <span>

#include "id3p/id3p.h"

namespace zdr::id3p {

// Both read the texts, and for version 2.3 the picture, from the body of a tag. `flags` is the flag byte of
// its header. Both return ID3P_OK or a failure, after which `text` holds what was read before it.
int32_t walk_v22_frames(uint8_t flags, std::span<const uint8_t> body, ID3P_Text& text);
int32_t walk_v23_frames(uint8_t flags, std::span<const uint8_t> body, ID3P_Text& text);

}  // namespace zdr::id3p
