// Builds AMR and AMR-WB files frame by frame.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

#include "mediakit/boxes/box_builder.h"

namespace zdr::test {

// Returns the size of a frame in a file: its TOC byte, and the bits that 3GPP TS 26.101 and TS 26.201 define
// for its type. Type 10 of wide-band counts as SID.
inline uint32_t frame_bytes(bool wide, uint8_t toc) {
  constexpr std::array<uint32_t, 16> kNarrowBits{95, 103, 118, 134, 148, 159, 204, 244, 39};
  constexpr std::array<uint32_t, 16> kWideBits{132, 177, 253, 285, 317, 365, 397, 461, 477, 40, 40};
  return 1 + ((wide ? kWideBits : kNarrowBits)[toc / 8 % 16] + 7) / 8;
}

struct Speech {
  bool wide = false;
  std::vector<Bytes> frames;
  Bytes tail;  // part of one more frame

  // The bytes after the TOC byte differ from frame to frame.
  void add(uint8_t toc) {
    Bytes frame(frame_bytes(wide, toc), static_cast<uint8_t>(frames.size() * 7 + 1));
    frame[0] = toc;
    frames.push_back(frame);
  }
  Bytes bytes() const {
    const std::string_view line = wide ? "#!AMR-WB\n" : "#!AMR\n";
    Bytes all(line.begin(), line.end());
    for (const Bytes& frame : frames) all.insert(all.end(), frame.begin(), frame.end());
    all.insert(all.end(), tail.begin(), tail.end());
    return all;
  }
};

inline Speech speech(bool wide, uint32_t count, uint8_t toc) {
  Speech made{wide, {}, {}};
  while (made.frames.size() < count) made.add(toc);
  return made;
}

}  // namespace zdr::test
