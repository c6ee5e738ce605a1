#include "aacdec/syntax/sbr_bands.h"

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

std::optional<Tables> build(const SbrHeader& header, int32_t rate) {
  SbrBandTables t;
  if (!build_sbr_bands(header, rate, t)) return std::nullopt;
  build_limiter_bands(header, t);
  if (t.master_count == 0) {
    EXPECT_EQ(t.high_count + t.noise_count + t.limiter_count + t.patch_count + t.m, 0);
    return Tables{};
  }
  EXPECT_EQ(t.kx, t.high[0]);
  EXPECT_EQ(t.kx + t.m, t.high[t.high_count]);
  return Tables{list(t.master, t.master_count + 1),   list(t.high, t.high_count + 1),
                list(t.low, t.low_count + 1),         list(t.noise, t.noise_count + 1),
                list(t.limiter, t.limiter_count + 1), list(t.patch_start, t.patch_count),
                list(t.patch_width, t.patch_count)};
}

// First master bands by start_freq, worked out from ISO/IEC 14496-3, 4.6.18.3.
const struct {
  int32_t rate;
  int first[16];
} kRates[] = {
    {14700, {18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31, 32, 33}},
    {16000, {16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31}},
    {22050, {12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 26, 28, 30}},
    {24000, {11, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 25, 27, 29, 32}},
    {32000, {10, 12, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 25, 27, 29, 32}},
    {44100, {8, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 21, 23, 25, 28, 32}},
    {48000, {7, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 20, 22, 24, 27, 31}},
    {64000, {6, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 19, 21, 23, 26, 30}},
    {88200, {5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 16, 18, 20, 23, 27, 31}},
    {96000, {5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 16, 18, 20, 23, 27, 31}},
    {128000, {3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 14, 16, 18, 21, 25, 29}},
    {176400, {2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 13, 15, 17, 20, 24, 28}},
    {192000, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 12, 14, 16, 19, 23, 27}},
};

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

int model_last_band(const SbrHeader& h, int32_t rate, int k0) {
  if (h.stop_freq >= 14) return std::min(64, (h.stop_freq - 12) * k0);
  const int least = rounded((rate < 32000 ? 6000 : rate < 64000 ? 8000 : 10000) * 128.0 / rate);
  const List widths = geometric_widths(least, 64, 13);
  int band = least;
  for (size_t i = 0; i < h.stop_freq; ++i) band += widths[i];
  return std::min(64, band);
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

List model_limiter(const SbrHeader& h, const Tables& t) {
  if (h.limiter_bands == 0) return {t.low.front(), t.low.back()};
  const double per_octave[] = {0, 1.2, 2, 3};
  List patches{t.high[0]};
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

// False for patches that begin below band 0 or would be looked for without end.
bool model_patches(int32_t rate, int k0, Tables& t) {
  const int goal = rounded(2.048e6 / rate);
  const auto last = t.master.size() - 1;
  size_t k = last;
  for (size_t j = last + 1; j-- > 0;) k = t.master[j] >= goal ? j : k;
  int source_end = k0;
  int done = t.high[0];
  for (int round = 0; t.patch_width.size() < 5; ++round) {
    if (round == 100) return false;
    size_t j = k;
    int odd = (t.master[j] - 2 + k0) % 2;
    for (; t.master[j] > k0 - 1 + source_end - odd; odd = (t.master[j] - 2 + k0) % 2) --j;
    const int end = t.master[j];
    const int width = std::max(end - done, 0);
    if (width > 0) {
      if (k0 - odd - width < 0) return false;
      t.patch_start.push_back(k0 - odd - width);
      t.patch_width.push_back(width);
      done = source_end = end;
    } else {
      source_end = t.high[0];
    }
    if (t.master[k] - end < 3) k = last;
    if (end == t.high.back()) break;
  }
  if (t.patch_width.size() > 1 && t.patch_width.back() < 3) {
    t.patch_start.pop_back();
    t.patch_width.pop_back();
  }
  return true;
}

std::optional<Tables> model(const SbrHeader& h, int32_t rate, int k0) {
  const int k2 = model_last_band(h, rate, k0);
  if (k2 - k0 > (rate >= 48000 ? 32 : rate > 32000 ? 35 : 48)) return std::nullopt;
  if (k2 <= k0) return Tables{};
  const auto master = model_master(h, k0, k2);
  if (!master.has_value() || h.xover_band >= master->size() - 1) return std::nullopt;
  Tables t;
  t.master = *master;
  t.high.assign(master->begin() + h.xover_band, master->end());
  const int high = static_cast<int>(t.high.size()) - 1;
  t.low = {t.high[0]};
  for (int j = 1; j <= (high + 1) / 2; ++j) t.low.push_back(t.high[static_cast<size_t>(2 * j - high % 2)]);
  if (t.high[0] > 32) return std::nullopt;
  const int noise = std::max(1, rounded(h.noise_bands * std::log2(double(k2) / t.high[0])));
  if (noise > 5) return std::nullopt;
  t.noise = {t.low[0]};
  for (int j = 1, s = 0; j <= noise; ++j) {
    s += (static_cast<int>(t.low.size()) - 1 - s) / (noise + 1 - j);
    t.noise.push_back(t.low[static_cast<size_t>(s)]);
  }
  if (!model_patches(rate, k0, t)) return std::nullopt;
  t.limiter = model_limiter(h, t);
  return t;
}

// Beyond the formulas required: 35 bands between 32 and 48 kHz, five patches (what a sixth would fill stays
// silent), and an alter_scale of 2, which was never sent, acts as 1.
TEST(SbrBands, AgreeWithAFloatingPointModelForEveryHeaderAsRequired) {
  int valid = 0;
  for (const auto& [rate, first] : kRates) {
    for (int setting = 0; setting < 16 * 16 * 4 * 2 * 8; ++setting) {
      SbrHeader h;
      h.start_freq = static_cast<uint8_t>(setting & 15);
      h.stop_freq = static_cast<uint8_t>(setting >> 4 & 15);
      h.freq_scale = static_cast<uint8_t>(setting >> 8 & 3);
      h.alter_scale = static_cast<uint8_t>((setting >> 10 & 1) << (setting & 1));
      h.xover_band = static_cast<uint8_t>(setting >> 11);
      h.noise_bands = static_cast<uint8_t>((setting + setting / 7) & 3);
      h.limiter_bands = static_cast<uint8_t>((setting + setting / 5) & 3);
      const auto found = build(h, rate);
      ASSERT_EQ(found, model(h, rate, first[h.start_freq])) << rate << ' ' << setting;
      valid += found.has_value() ? 1 : 0;
    }
  }
  EXPECT_GT(valid, 70000);
}

}  // namespace
}  // namespace zdr::aacdec
