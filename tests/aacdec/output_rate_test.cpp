#include "aacdec/output_rate.h"

#include <gtest/gtest.h>

namespace zdr::aacdec {
namespace {

struct Conversion {
  int32_t core_hz;
  int class_to_16k;
  int multiplier_to_16k;
  int class_to_8k;
};

// A core rate of 8000 has no ratio to take to 16000: SBR doubles it.
constexpr Conversion kConversions[] = {{96000, 8, 1, 0}, {88200, 5, 1, 0}, {64000, 2, 1, 0}, {48000, 7, 1, 8},
                                       {44100, 4, 1, 5}, {32000, 1, 1, 2}, {24000, 6, 1, 7}, {22050, 3, 1, 4},
                                       {16000, 0, 1, 1}, {12000, 6, 2, 6}, {11025, 3, 2, 3}, {8000, 0, 2, 0}};

TEST(OutputRate, Of8And16KilohertzIsConvertedWhereThereIsARatio) {
  for (const Conversion& c : kConversions) {
    SCOPED_TRACE(c.core_hz);
    for (const bool single_rate : {false, true}) {
      const OutputRate wide = choose_output_rate(c.core_hz, 16000, single_rate);
      EXPECT_EQ(wide.multiplier, c.multiplier_to_16k);
      EXPECT_EQ(wide.resampling_class, c.class_to_16k);
      const OutputRate narrow = choose_output_rate(c.core_hz, 8000, single_rate);
      EXPECT_EQ(narrow.multiplier, 1);
      EXPECT_EQ(narrow.resampling_class, c.class_to_8k);
    }
  }
}

TEST(OutputRate, IsDoubledUpTo24KilohertzUnlessTheCoresOwnIsAsked) {
  struct Case {
    int32_t core_hz;
    int32_t requested_hz;
    bool single_rate;
    int multiplier;
  };
  // Twice 8000 is the 16000 that would be converted; the doubling is all it takes.
  constexpr Case kCases[] = {
      {24000, 48000, false, 2},      {24000, 96000, false, 2}, {24000, 24000, false, 1},
      {24000, 32000, false, 2},      {24000, 48000, true, 1},  {32000, 64000, false, 1},
      {44100, 88200, false, 1},      {22050, 44100, false, 2}, {12000, 24000, false, 2},
      {16000, 0x7FFFFFFF, false, 2}, {22050, 0, false, 2},     {22050, -5, false, 2},
      {8000, 44100, false, 2},       {8000, 44100, true, 2}};
  for (const Case& c : kCases) {
    const OutputRate rate = choose_output_rate(c.core_hz, c.requested_hz, c.single_rate);
    EXPECT_EQ(rate.multiplier, c.multiplier) << c.core_hz << ' ' << c.requested_hz;
    EXPECT_EQ(rate.resampling_class, 0);
  }
}

}  // namespace
}  // namespace zdr::aacdec
