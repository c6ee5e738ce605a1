// The SBR band tables of every header at every rate (ISO/IEC 14496-3, 4.6.18.3).
#include "aacdec/syntax/sbr_bands.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <numeric>
#include <optional>

#include "tests/aacdec/checksum.h"

namespace zdr::test {
namespace {

using namespace aacdec;

constexpr int kHeaders = 16 * 16 * 4 * 2 * 8;

SbrHeader header_of(int number) {
  SbrHeader h;
  h.start_freq = static_cast<uint8_t>(number & 15);
  h.stop_freq = static_cast<uint8_t>(number >> 4 & 15);
  h.freq_scale = static_cast<uint8_t>(number >> 8 & 3);
  h.alter_scale = static_cast<uint8_t>(number >> 10 & 1);
  h.xover_band = static_cast<uint8_t>(number >> 11);
  h.noise_bands = static_cast<uint8_t>((number + number / 7) & 3);
  h.limiter_bands = static_cast<uint8_t>((number + number / 5) & 3);
  return h;
}

std::optional<SbrBandTables> build(const SbrHeader& header, int32_t rate_hz) {
  SbrBandTables tables;
  if (!build_sbr_bands(header, rate_hz, tables)) return std::nullopt;
  build_limiter_bands(header, tables);
  return tables;
}

// All 0 if the header is invalid.
auto bytes_of(const std::optional<SbrBandTables>& tables) {
  return std::bit_cast<std::array<uint8_t, sizeof(SbrBandTables)>>(tables.value_or(SbrBandTables{}));
}

// The checksum is pinned; a change here changes every decoder output with SBR. The standard allows 45 bands
// between 32 and 48 kHz, and has no sixth patch.
TEST(SbrBands, KeptAtMost35BandsAndFivePatchesAndAnyAlterScaleActsAs1) {
  Checksum sum;
  int valid = 0;
  int widest = 0;  // at 44100 Hz
  int unfilled = 0;
  for (const int32_t rate_hz :
       {14700, 16000, 22050, 24000, 32000, 44100, 48000, 64000, 88200, 96000, 128000, 176400, 192000}) {
    for (int number = 0; number < kHeaders; ++number) {
      SbrHeader header = header_of(number);
      const auto tables = build(header, rate_hz);
      sum.add(tables.has_value(), bytes_of(tables));
      header.alter_scale = static_cast<uint8_t>(2 * header.alter_scale);
      ASSERT_EQ(bytes_of(build(header, rate_hz)), bytes_of(tables));
      if (!tables) continue;
      ++valid;
      if (rate_hz == 44100) widest = std::max(widest, tables->k2 - tables->k0);
      const int end =
          std::accumulate(tables->patch_width, tables->patch_width + kMaxPatches, int{tables->kx});
      if (tables->patch_count == kMaxPatches && end + 2 < tables->kx + tables->m) ++unfilled;
    }
  }
  EXPECT_EQ(valid, 115825);
  EXPECT_EQ(sum.value, 0xA3E8C6D8AB1C6F6BU) << std::hex << sum.value;
  EXPECT_EQ(widest, 35);
  EXPECT_GT(unfilled, 0);
}

}  // namespace
}  // namespace zdr::test
