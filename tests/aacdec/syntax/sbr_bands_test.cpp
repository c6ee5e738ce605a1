// The SBR band tables of every header at every rate (ISO/IEC 14496-3, 4.6.18.3). The checksums are pinned; a
// change here changes every decoder output with SBR.
#include "aacdec/syntax/sbr_bands.h"

#include <gtest/gtest.h>

#include <optional>
#include <vector>

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

std::optional<SbrBandTables> build(const SbrHeader& header, int32_t rate) {
  SbrBandTables t;
  if (!build_sbr_bands(header, rate, t)) return std::nullopt;
  build_limiter_bands(header, t);
  return t;
}

// The numbers of bands, then all borders and patches.
std::vector<uint8_t> listed(const SbrBandTables& t) {
  std::vector<uint8_t> list{t.kx, t.m};
  const auto add = [&list](const uint8_t* values, int count) {
    list.push_back(static_cast<uint8_t>(count));
    list.insert(list.end(), values, values + count);
  };
  if (t.master_count == 0) return list;
  add(t.master, t.master_count + 1);
  add(t.high, t.high_count + 1);
  add(t.low, t.low_count + 1);
  add(t.noise, t.noise_count + 1);
  add(t.limiter, t.limiter_count + 1);
  add(t.patch_start, t.patch_count);
  add(t.patch_width, t.patch_count);
  return list;
}

struct RateCase {
  int32_t rate_hz;
  int valid;
  uint64_t hash;
};

constexpr RateCase kRates[] = {
    {14700, 8982, 0x7E648019E9BEE47E},  {16000, 10897, 0x1AAD8EB2EC3E4051},
    {22050, 12604, 0x7728EB330C363AFE}, {24000, 12230, 0xA4DCDDD5011B068C},
    {32000, 11963, 0xEB3EA49A844875E1}, {44100, 9020, 0x88B2D4DB5AC30A78},
    {48000, 8324, 0x1FD40FB4FCCAEC67},  {64000, 7805, 0x98F97E4BED8FE6C3},
    {88200, 7070, 0x9EA7E39F79EE5D5F},  {96000, 7250, 0xCC1B248ACBC3A6D3},
    {128000, 6719, 0x8F6E56709121D5F3}, {176400, 6663, 0x371F46C94169B015},
    {192000, 6298, 0xDF0C1153BCDA5F27},
};

TEST(SbrBands, TablesOfEveryHeaderArePinned) {
  for (const RateCase& c : kRates) {
    uint64_t hash = kFnv1aStart;
    int valid = 0;
    for (int number = 0; number < kHeaders; ++number) {
      const auto tables = build(header_of(number), c.rate_hz);
      valid += tables.has_value() ? 1 : 0;
      hash = fnv1a<uint8_t>(tables ? listed(*tables) : std::vector<uint8_t>{255}, hash);
    }
    EXPECT_EQ(valid, c.valid) << c.rate_hz;
    EXPECT_EQ(hash, c.hash) << c.rate_hz << std::hex << " 0x" << hash;
  }
}

// The standard allows 45 bands between 32 and 48 kHz, and has no sixth patch.
TEST(SbrBands, KeptAtMost35BandsAndFivePatchesAndAnyAlterScaleActsAs1) {
  int widest = 0;
  int unfilled = 0;
  for (int number = 0; number < kHeaders; ++number) {
    SbrHeader header = header_of(number);
    if (const auto tables = build(header, 44100)) widest = std::max(widest, tables->k2 - tables->k0);
    const auto low = build(header, 192000);
    int end = low ? low->kx : 0;
    for (int p = 0; low && p < low->patch_count; ++p) end += low->patch_width[p];
    if (low && low->patch_count == kMaxPatches && end + 2 < low->kx + low->m) ++unfilled;
    if (header.alter_scale == 0) continue;
    header.alter_scale = 2;
    const auto by_default = build(header, 44100);
    const auto sent = build(header_of(number), 44100);
    ASSERT_EQ(by_default ? listed(*by_default) : std::vector<uint8_t>{},
              sent ? listed(*sent) : std::vector<uint8_t>{});
  }
  EXPECT_EQ(widest, 35);
  EXPECT_GT(unfilled, 0);
}

}  // namespace
}  // namespace zdr::test
