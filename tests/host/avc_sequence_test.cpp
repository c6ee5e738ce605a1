// Sequence parameter sets with everything that precedes the values that are shown.
#include "host/inspect/iso/avc_sequence.h"

#include <gtest/gtest.h>

#include <bit>
#include <string>

namespace zdr::test {
namespace {

// Writes a parameter set bit by bit.
struct ParameterSet {
  std::string bits = "01100111";

  ParameterSet& fixed(size_t count, uint64_t value) {
    while (count-- > 0) bits += (value >> count & 1) != 0 ? '1' : '0';
    return *this;
  }
  ParameterSet& codes(std::initializer_list<uint32_t> values) {
    for (const uint32_t value : values) fixed(2 * std::bit_width(value + 1) - 1, value + 1);
    return *this;
  }
  // With the bytes that keep start codes out.
  std::vector<uint8_t> bytes() const {
    std::vector<uint8_t> all;
    size_t zeros = 0;
    for (size_t at = 0; at + 8 <= bits.size(); at += 8) {
      const auto byte = static_cast<uint8_t>(std::stoul(bits.substr(at, 8), nullptr, 2));
      if (zeros >= 2 && byte <= 3) all.push_back(3), zeros = 0;
      all.push_back(byte);
      zeros = byte == 0 ? zeros + 1 : 0;
    }
    return all;
  }
};

std::string text_of(const host::PictureFormat& format) {
  const auto number = [](auto value) { return value ? std::to_string(*value) : "-"; };
  std::string text = format.chroma;
  for (const std::string& each : {number(format.bit_depth), number(format.reference_frames),
                                  number(format.has_frames_only), number(format.is_full_range),
                                  number(format.primaries), number(format.transfer), number(format.matrix)})
    text += ' ' + each;
  return text;
}

TEST(AvcSequence, IsReadUpToItsColours) {
  ParameterSet simple;
  simple.fixed(8, 66)
      .fixed(16, 30)
      .codes({0, 0, 2, 1})
      .fixed(1, 0)
      .codes({10, 8})
      .fixed(3, 0b110)
      .fixed(9, 1);
  ParameterSet full;
  full.fixed(8, 122).fixed(16, 0).codes({0, 2, 2, 2}).fixed(2, 0b01);
  full.fixed(1, 1).codes({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});  // a whole scaling list
  full.fixed(1, 1).codes({16}).fixed(4, 0);                                  // ends at once: 8 - 8 is 0
  full.fixed(1, 1).codes({5, 22}).fixed(1, 0);                               // 8 + 3 - 11
  full.codes({0, 1}).fixed(1, 0).codes({4, 5, 2, 1, 2}).codes({5}).fixed(1, 0).codes({9, 7});
  full.fixed(3, 0b001).fixed(1, 1).codes({0, 1, 0, 2}).fixed(1, 1);
  full.fixed(9, 0b1'1111'1111)
      .fixed(32, 0x00010001)
      .fixed(2, 0b10)
      .fixed(6, 0b110111)
      .fixed(24, 0x091009)
      .fixed(9, 1);
  const std::pair<ParameterSet, std::string> kCases[] = {{simple, "4:2:0 8 1 1 - - - -"},
                                                         {full, "4:2:2 10 5 0 1 9 16 9"}};
  for (const auto& [set, expected] : kCases) {
    const std::vector<uint8_t> bytes = set.bytes();
    host::PictureFormat whole;
    host::describe_avc_sequence(bytes, whole);
    EXPECT_EQ(text_of(whole), expected);
    // Cut off, it states less, but nothing else.
    for (size_t size = 0; size < bytes.size(); ++size) {
      host::PictureFormat part = whole;
      host::describe_avc_sequence(host::Bytes(bytes).first(size), part);
      EXPECT_EQ(text_of(part), expected) << size;
    }
  }
}

}  // namespace
}  // namespace zdr::test
