#include "aacdec/sbr_bands.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <optional>
#include <vector>

namespace zdr::aacdec {
namespace {

using List = std::vector<int>;

struct Tables {
  List master, high, low, noise, limiter, patch_start, patch_width;
  bool operator==(const Tables&) const = default;
};

List list(const uint8_t* values, int count) {
  return List(values, values + count);
}

Tables built(const SbrBandTables& t) {
  return {list(t.master, t.master_count + 1),   list(t.high, t.high_count + 1),
          list(t.low, t.low_count + 1),         list(t.noise, t.noise_count + 1),
          list(t.limiter, t.limiter_count + 1), list(t.patch_start, t.patch_count),
          list(t.patch_width, t.patch_count)};
}

std::optional<Tables> build(const SbrHeader& header, int32_t rate) {
  SbrBandTables tables;
  if (!build_sbr_bands(header, rate, tables)) return std::nullopt;
  build_limiter_bands(header, tables);
  return built(tables);
}

struct Example {
  int32_t rate;
  SbrHeader header;
  List master, high, low, noise, limiter, patch_start, patch_width;
};

// Worked out from ISO/IEC 14496-3, 4.6.18.3.
const Example kExamples[] = {
    {16000,
     {1, 13, 15, 0, 2, 1, 3, 3, 2, 1, 1},
     {29, 31, 33, 35, 37, 40, 43, 46, 49, 52, 56, 60, 64},
     {29, 31, 33, 35, 37, 40, 43, 46, 49, 52, 56, 60, 64},
     {29, 33, 37, 43, 49, 56, 64},
     {29, 37, 49, 64},
     {29, 33, 37, 43, 49, 56, 64},
     {1, 20},
     {27, 8}},
    {16000,
     {1, 8, 9, 0, 0, 1, 2, 1, 2, 1, 1},
     {24, 26, 28, 30, 32, 34, 36, 38, 40, 42, 44, 46, 48, 50, 52, 54, 57},
     {24, 26, 28, 30, 32, 34, 36, 38, 40, 42, 44, 46, 48, 50, 52, 54, 57},
     {24, 28, 32, 36, 40, 44, 48, 52, 57},
     {24, 40, 57},
     {24, 32, 46, 57},
     {2, 12},
     {22, 11}},
    {22050,
     {1, 8, 2, 2, 3, 0, 1, 3, 2, 1, 1},
     {20, 21, 23, 25, 27, 29, 32, 35, 38},
     {23, 25, 27, 29, 32, 35, 38},
     {23, 27, 32, 38},
     {23, 38},
     {23, 27, 32, 38},
     {5},
     {15}},
    {22050,
     {1, 14, 5, 0, 0, 0, 0, 1, 2, 1, 1},
     {28, 29, 30, 31, 32, 33, 34, 35, 36, 37, 38, 39, 40, 41, 42, 43, 44},
     {28, 29, 30, 31, 32, 33, 34, 35, 36, 37, 38, 39, 40, 41, 42, 43, 44},
     {28, 30, 32, 34, 36, 38, 40, 42, 44},
     {28, 44},
     {28, 44},
     {12},
     {16}},
    {24000,
     {1, 1, 0, 1, 2, 1, 0, 1, 2, 1, 1},
     {13, 14, 15, 16, 17, 18, 19, 20, 22, 24, 26, 29, 32},
     {14, 15, 16, 17, 18, 19, 20, 22, 24, 26, 29, 32},
     {14, 15, 17, 19, 22, 26, 32},
     {14, 32},
     {14, 24, 32},
     {2, 4},
     {10, 8}},
    {24000,
     {1, 14, 4, 0, 0, 1, 3, 1, 2, 1, 1},
     {29, 30, 32, 34, 36, 38, 40},
     {29, 30, 32, 34, 36, 38, 40},
     {29, 32, 36, 40},
     {29, 40},
     {29, 40},
     {17},
     {11}},
    {32000,
     {1, 5, 11, 0, 3, 1, 1, 3, 2, 1, 1},
     {17, 18, 20, 22, 24, 26, 28, 31, 34, 39, 44, 51, 58},
     {17, 18, 20, 22, 24, 26, 28, 31, 34, 39, 44, 51, 58},
     {17, 20, 24, 28, 34, 44, 58},
     {17, 28, 58},
     {17, 20, 24, 31, 44, 58},
     {3, 3, 2},
     {14, 13, 14}},
    {32000,
     {1, 11, 11, 1, 0, 0, 2, 1, 2, 1, 1},
     {23, 24, 25, 26, 27, 28, 29, 30, 31, 32, 33, 34, 35, 36, 37, 38, 39, 40,
      41, 42, 43, 44, 45, 46, 47, 48, 49, 50, 51, 52, 53, 54, 55, 56, 58},
     {24, 25, 26, 27, 28, 29, 30, 31, 32, 33, 34, 35, 36, 37, 38, 39, 40,
      41, 42, 43, 44, 45, 46, 47, 48, 49, 50, 51, 52, 53, 54, 55, 56, 58},
     {24, 25, 27, 29, 31, 33, 35, 37, 39, 41, 43, 45, 47, 49, 51, 53, 55, 58},
     {24, 33, 45, 58},
     {24, 33, 45, 58},
     {2, 9},
     {21, 13}},
    {44100,
     {1, 1, 15, 0, 0, 1, 3, 2, 2, 1, 1},
     {10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 30},
     {10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 30},
     {10, 14, 18, 22, 26, 30},
     {10, 14, 18, 22, 26, 30},
     {10, 14, 18, 26, 30},
     {2, 2, 6},
     {8, 8, 4}},
    {44100,
     {1, 5, 15, 7, 0, 1, 3, 3, 2, 1, 1},
     {14, 16, 18, 20, 22, 24, 26, 28, 30, 32, 34, 36, 38, 40, 42},
     {28, 30, 32, 34, 36, 38, 40, 42},
     {28, 30, 34, 38, 42},
     {28, 34, 42},
     {28, 34, 42},
     {2},
     {12}},
    {48000,
     {1, 4, 2, 5, 3, 1, 2, 0, 2, 1, 1},
     {12, 13, 14, 15, 17, 19, 21, 23, 25},
     {19, 21, 23, 25},
     {19, 21, 25},
     {19, 25},
     {19, 25},
     {9, 7},
     {2, 4}},
    {48000,
     {1, 5, 4, 0, 0, 0, 1, 2, 2, 1, 1},
     {13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29},
     {13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29},
     {13, 15, 17, 19, 21, 23, 25, 27, 29},
     {13, 29},
     {13, 17, 21, 25, 29},
     {1, 9},
     {12, 4}},
    {64000,
     {1, 11, 3, 1, 2, 0, 1, 2, 2, 1, 1},
     {19, 20, 22, 24, 26},
     {20, 22, 24, 26},
     {20, 22, 26},
     {20, 26},
     {20, 26},
     {12},
     {6}},
    {64000,
     {1, 15, 10, 0, 0, 0, 0, 0, 2, 1, 1},
     {30, 31, 32, 33, 34, 35, 36, 37, 38, 39, 40, 41, 42, 43, 44, 45, 46, 47, 49},
     {30, 31, 32, 33, 34, 35, 36, 37, 38, 39, 40, 41, 42, 43, 44, 45, 46, 47, 49},
     {30, 32, 34, 36, 38, 40, 42, 44, 46, 49},
     {30, 49},
     {30, 49},
     {28, 12},
     {2, 17}},
    {88200,
     {1, 8, 3, 1, 1, 1, 3, 3, 2, 1, 1},
     {13, 14, 15, 16, 17, 18, 19, 20, 21},
     {14, 15, 16, 17, 18, 19, 20, 21},
     {14, 15, 17, 19, 21},
     {14, 17, 21},
     {14, 17, 21},
     {6},
     {7}},
    {88200,
     {1, 8, 8, 1, 0, 0, 2, 1, 2, 1, 1},
     {13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31, 32, 33, 34, 35, 36, 37},
     {14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31, 32, 33, 34, 35, 36, 37},
     {14, 15, 17, 19, 21, 23, 25, 27, 29, 31, 33, 35, 37},
     {14, 21, 29, 37},
     {14, 23, 35},
     {4, 1},
     {9, 12}},
    {96000,
     {1, 12, 10, 3, 1, 0, 2, 0, 2, 1, 1},
     {20, 21, 22, 23, 24, 25, 27, 29, 31, 33, 35, 37, 39, 41, 44},
     {23, 24, 25, 27, 29, 31, 33, 35, 37, 39, 41, 44},
     {23, 24, 27, 31, 35, 39, 44},
     {23, 31, 44},
     {23, 44},
     {1, 17},
     {18, 3}},
    {96000,
     {1, 4, 2, 0, 0, 1, 0, 3, 2, 1, 1},
     {9, 11, 13, 15, 17},
     {9, 11, 13, 15, 17},
     {9, 13, 17},
     {9, 17},
     {9, 13, 17},
     {1},
     {8}},
};

TEST(SbrBands, GiveTheTablesOfWorkedExamples) {
  for (const Example& e : kExamples) {
    const Tables expected{e.master, e.high, e.low, e.noise, e.limiter, e.patch_start, e.patch_width};
    EXPECT_EQ(build(e.header, e.rate), expected) << e.rate << ' ' << int{e.header.start_freq};
  }
}

// The tables in floating point, step by step as the standard writes them.
int rounded(double x) {
  return static_cast<int>(std::floor(x + 0.5));
}

List geometric_widths(int first, int last, int count) {
  List widths;
  int before = first;
  for (int j = 1; j <= count; ++j) {
    const int border = rounded(first * std::pow(double(last) / first, double(j) / count));
    widths.push_back(border - before);
    before = border;
  }
  std::sort(widths.begin(), widths.end());
  return widths;
}

std::optional<List> model_master(const SbrHeader& h, int k0, int k2) {
  List widths;
  if (h.freq_scale == 0) {
    const int width = h.alter_scale != 0 ? 2 : 1;
    const int count = width == 1 ? 2 * ((k2 - k0) / 2) : 2 * ((k2 - k0 + 2) / 4);
    if (count == 0) return std::nullopt;
    widths.assign(static_cast<size_t>(count), width);
    int rest = k2 - k0 - count * width;
    for (size_t i = 0; rest < 0; ++i, ++rest) --widths[i];
    for (size_t i = widths.size(); rest > 0; --rest) ++widths[--i];
  } else {
    const double per_octave[] = {0, 12, 10, 8};
    const double bands = per_octave[h.freq_scale];
    const bool two_regions = double(k2) / k0 > 2.2449;
    const int k1 = two_regions ? 2 * k0 : k2;
    const int lower = 2 * rounded(bands * std::log2(double(k1) / k0) / 2);
    if (lower < 1) return std::nullopt;
    widths = geometric_widths(k0, k1, lower);
    if (widths[0] < 1) return std::nullopt;
    if (two_regions) {
      const double warp = h.alter_scale != 0 ? 1.3 : 1.0;
      List upper = geometric_widths(k1, k2, 2 * rounded(bands * std::log2(double(k2) / k1) / (2 * warp)));
      if (upper.front() < widths.back()) {
        const int change = std::min(widths.back() - upper.front(), (upper.back() - upper.front()) / 2);
        upper.front() += change;
        upper.back() -= change;
        std::sort(upper.begin(), upper.end());
      }
      if (upper[0] < 1) return std::nullopt;
      widths.insert(widths.end(), upper.begin(), upper.end());
    }
  }
  List master{k0};
  for (const int width : widths) master.push_back(master.back() + width);
  return master;
}

List model_limiter(const SbrHeader& h, const Tables& t, int kx) {
  if (h.limiter_bands == 0) return {t.low.front(), t.low.back()};
  const double per_octave[] = {0, 1.2, 2, 3};
  List patches{kx};
  for (const int width : t.patch_width) patches.push_back(patches.back() + width);
  const auto is_patch = [&](int band) { return std::count(patches.begin(), patches.end(), band) != 0; };
  List lim = t.low;
  if (patches.size() > 2) lim.insert(lim.end(), patches.begin() + 1, patches.end() - 1);
  std::sort(lim.begin(), lim.end());
  for (size_t j = 1; j < lim.size();) {
    const auto at = lim.begin() + static_cast<std::ptrdiff_t>(j);
    if (per_octave[h.limiter_bands] * std::log2(double(lim[j]) / lim[j - 1]) >= 0.49) {
      ++j;
    } else if (lim[j] == lim[j - 1] || !is_patch(lim[j])) {
      lim.erase(at);
    } else if (!is_patch(lim[j - 1])) {
      lim.erase(at - 1);
    } else {
      ++j;
    }
  }
  return lim;
}

// Whole tables for a master table; the patches are compared for sense only, below.
std::optional<Tables> model_derived(const SbrHeader& h, const List& master, const Tables& patches) {
  const size_t bands = master.size() - 1;
  if (h.xover_band >= bands) return std::nullopt;
  Tables t = patches;
  t.master = master;
  t.high.assign(master.begin() + h.xover_band, master.end());
  const int high = static_cast<int>(t.high.size()) - 1;
  t.low = {t.high[0]};
  for (int j = 1; j <= (high + 1) / 2; ++j) t.low.push_back(t.high[static_cast<size_t>(2 * j - high % 2)]);
  if (t.high[0] > 32) return std::nullopt;
  const int noise = std::max(1, rounded(h.noise_bands * std::log2(double(master.back()) / t.high[0])));
  if (noise > 5) return std::nullopt;
  t.noise = {t.low[0]};
  for (int j = 1, s = 0; j <= noise; ++j) {
    s += (static_cast<int>(t.low.size()) - 1 - s) / (noise + 1 - j);
    t.noise.push_back(t.low[static_cast<size_t>(s)]);
  }
  t.limiter = model_limiter(h, t, t.high[0]);
  return t;
}

// Patches copy bands below the core's end, keep the parity of the bands and fill the range but for a narrow
// rest.
void check_patches(const Tables& t, int k0) {
  const int kx = t.high.front();
  int end = kx;
  ASSERT_LE(t.patch_start.size(), 5U);
  for (size_t p = 0; p < t.patch_start.size(); ++p) {
    ASSERT_GT(t.patch_width[p], 0);
    ASSERT_GE(t.patch_start[p], 1);
    ASSERT_LE(t.patch_start[p] + t.patch_width[p], k0);
    ASSERT_EQ((t.patch_start[p] - end) % 2, 0);
    end += t.patch_width[p];
    ASSERT_TRUE(std::count(t.master.begin(), t.master.end(), end) != 0);
  }
  ASSERT_TRUE(end > t.high.back() - 3 || t.patch_start.size() == 5) << end;
  ASSERT_LE(end, t.high.back());
}

TEST(SbrBands, AgreeWithAFloatingPointModelForEveryHeader) {
  int valid = 0;
  for (const int32_t rate : {16000, 22050, 24000, 32000, 44100, 48000, 64000, 88200, 96000}) {
    for (int setting = 0; setting < 16 * 16 * 4 * 2 * 8; ++setting) {
      SbrHeader h;
      h.start_freq = static_cast<uint8_t>(setting & 15);
      h.stop_freq = static_cast<uint8_t>(setting >> 4 & 15);
      h.freq_scale = static_cast<uint8_t>(setting >> 8 & 3);
      h.alter_scale = static_cast<uint8_t>(setting >> 10 & 1);
      h.xover_band = static_cast<uint8_t>(setting >> 11);
      h.noise_bands = static_cast<uint8_t>((setting + setting / 7) & 3);
      h.limiter_bands = static_cast<uint8_t>((setting + setting / 5) & 3);
      SbrBandTables tables;
      const bool accepted = build_sbr_bands(h, rate, tables);
      if (accepted && tables.k2 <= tables.k0) {
        ASSERT_EQ(tables.high_count + tables.noise_count + tables.m, 0);
        continue;
      }
      if (tables.k0 == 0) continue;  // the span was rejected
      const auto master = model_master(h, tables.k0, tables.k2);
      build_limiter_bands(h, tables);
      const Tables found = built(tables);
      const auto expected = master.has_value() ? model_derived(h, *master, found) : std::nullopt;
      ASSERT_EQ(accepted, expected.has_value()) << rate << ' ' << setting;
      if (!accepted) continue;
      ASSERT_EQ(found, *expected) << rate << ' ' << setting;
      check_patches(found, tables.k0);
      ++valid;
    }
  }
  EXPECT_GT(valid, 50000);
}

TEST(SbrBands, RequiredToSpanAtMost35BandsBetween32And48Kilohertz) {
  // Highest stop_freq that is accepted, by start_freq.
  const int highest[16] = {8, 8, 8, 9, 9, 9, 9, 10, 10, 10, 10, 11, 11, 12, 12, 13};
  int rejected = 0;
  for (int start = 0; start < 16; ++start) {
    for (int stop = 0; stop < 16; ++stop) {
      SbrHeader h;
      h.start_freq = static_cast<uint8_t>(start);
      h.stop_freq = static_cast<uint8_t>(stop);
      SbrBandTables tables;
      build_sbr_bands(h, 44100, tables);
      const bool too_wide = tables.k0 == 0;
      rejected += too_wide ? 1 : 0;
      if (stop < 14) {
        EXPECT_EQ(too_wide, stop > highest[start]) << start << ' ' << stop;
      }
    }
  }
  EXPECT_EQ(rejected, 55);
}

TEST(SbrBands, RequiredThatTheUnsentAlterScaleActsAsSet) {
  SbrHeader initial;
  initial.stop_freq = 9;
  SbrHeader sent = initial;
  sent.alter_scale = 1;
  EXPECT_EQ(build(initial, 44100), build(sent, 44100));
  initial.freq_scale = sent.freq_scale = 0;
  EXPECT_EQ(build(initial, 44100), build(sent, 44100));
}

}  // namespace
}  // namespace zdr::aacdec
