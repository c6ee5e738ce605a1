// Reads the ID3v1 tag: 128 bytes of fixed fields at the end of a file (id3.org: "ID3v1").
#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "id3p/id3p.h"

namespace zdr::id3p {

inline constexpr uint32_t kV1TagBytes = 128;

bool is_v1_tag(std::span<const uint8_t, kV1TagBytes> bytes);

// Fills the texts. False if out of memory; `text` then holds the fields read before.
bool read_v1_tag(std::span<const uint8_t, kV1TagBytes> bytes, ID3P_Text& text);

}  // namespace zdr::id3p
