// Speech files that tests make up from single frames, and readers on them.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "esparse/amr/amrf.h"
#include "mediakit/files/temp_folder.h"

namespace zdr::test {

using Bytes = std::vector<uint8_t>;

// Bytes that a frame takes in a file: its TOC byte, and as many as hold the bits that 3GPP TS 26.101
// and 26.201 give its type. Type 10 of wide-band is taken for SID.
inline uint32_t frame_bytes(bool wide, uint8_t toc) {
  constexpr std::array<uint32_t, 16> kNarrowBits{95, 103, 118, 134, 148, 159, 204, 244, 39};
  constexpr std::array<uint32_t, 16> kWideBits{132, 177, 253, 285, 317, 365, 397, 461, 477, 40, 40};
  return 1 + ((wide ? kWideBits : kNarrowBits)[toc / 8 % 16] + 7) / 8;
}

struct Speech {
  bool wide = false;
  std::vector<Bytes> frames;
  Bytes tail;  // of a frame that is cut off

  // The bytes behind the TOC byte tell frames apart.
  void add(uint8_t toc) {
    Bytes frame(frame_bytes(wide, toc), static_cast<uint8_t>(frames.size() * 7 + 1));
    frame[0] = toc;
    frames.push_back(frame);
  }
  Bytes bytes() const {
    const std::string line = wide ? "#!AMR-WB\n" : "#!AMR\n";
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

// Frames of random types, and half of the time a part of one more.
inline Speech random_speech(std::mt19937& random, bool wide, size_t count) {
  Speech made{wide, {}, {}};
  while (made.frames.size() < count) {
    const auto toc = static_cast<uint8_t>(random());
    // Types 11 to 13 of wide-band stop every walk.
    const bool has_no_size = wide && toc / 8 % 16 >= 11 && toc / 8 % 16 <= 13;
    if (!has_no_size) made.add(toc);
  }
  if (random() % 2 == 0) made.tail.assign(1 + random() % 12, 0x04);
  return made;
}

struct CloseReader {
  void operator()(AMRF_File* reader) const { EXPECT_EQ(AMRF_Close(reader), 0); }
};
using Reader = std::unique_ptr<AMRF_File, CloseReader>;

// A file in a folder of its own.
struct OnDisk {
  TempFolder folder;
  std::filesystem::path path;
  std::u16string wide_path;

  explicit OnDisk(const Bytes& bytes) : path(folder / "speech.amr"), wide_path(path.u16string()) {
    write_file(path, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  }
  explicit OnDisk(const Speech& speech) : OnDisk(speech.bytes()) {}
  Reader open() const {
    AMRF_File* reader = nullptr;
    EXPECT_EQ(AMRF_Open(&reader, wide_path.c_str()), 0);
    return Reader(reader);
  }
};

}  // namespace zdr::test
