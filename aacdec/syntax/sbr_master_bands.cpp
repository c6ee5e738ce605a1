// Computes the range of the master table from the start and stop frequencies, and divides it into linear or
// logarithmic bands.
#include "aacdec/syntax/sbr_master_bands.h"

#include <algorithm>
#include <iterator>

#include "aacdec/syntax/sbr_octaves.h"

namespace zdr::aacdec {
namespace {

// round(2^x), at most kTopBand: the largest n with n - 1/2 <= 2^x.
int round_exp2(int64_t x_q24) {
  int n = 1;
  while (n < kTopBand && log2_of(2 * n + 1) - kOctave <= x_q24) ++n;
  return n;
}

// Computes the differences of the borders round(first * (last / first)^(j / count)), in ascending order.
void geometric_widths(int first, int last, int count, int* widths) {
  const int64_t start = log2_of(first);
  const int64_t span = log2_of(last) - start;
  int previous = first;
  for (int j = 1; j <= count; ++j) {
    const int border = j == count ? last : round_exp2(start + span * j / count);
    widths[j - 1] = border - previous;
    previous = border;
  }
  std::sort(widths, widths + count);
}

// bs_start_freq moves the first band around a fixed frequency by an offset that depends on the SBR rate.
int first_master_band(int start_freq, int32_t rate) {
  static constexpr int8_t kOffsets[6][16] = {{-8, -7, -6, -5, -4, -3, -2, -1, 0, 1, 2, 3, 4, 5, 6, 7},
                                             {-5, -4, -3, -2, -1, 0, 1, 2, 3, 4, 5, 6, 7, 9, 11, 13},
                                             {-5, -3, -2, -1, 0, 1, 2, 3, 4, 5, 6, 7, 9, 11, 13, 16},
                                             {-6, -4, -2, -1, 0, 1, 2, 3, 4, 5, 6, 7, 9, 11, 13, 16},
                                             {-4, -2, -1, 0, 1, 2, 3, 4, 5, 6, 7, 9, 11, 13, 16, 20},
                                             {-2, -1, 0, 1, 2, 3, 4, 5, 6, 7, 9, 11, 13, 16, 20, 24}};
  // The highest rate of each row; rates above 64000 use the sixth.
  static constexpr int32_t kRowLimits[5] = {16000, 22050, 24000, 32000, 64000};
  const auto row = std::lower_bound(std::begin(kRowLimits), std::end(kRowLimits), rate) - kRowLimits;
  const int64_t start_hz = rate < 32000 ? 3000 : rate < 64000 ? 4000 : 5000;
  return static_cast<int>(round_quotient(start_hz * 128, rate)) + kOffsets[row][start_freq];
}

int last_master_band(int stop_freq, int32_t rate, int k0) {
  if (stop_freq == 14) return std::min(kTopBand, 2 * k0);
  if (stop_freq == 15) return std::min(kTopBand, 3 * k0);
  const int64_t stop_hz = rate < 32000 ? 6000 : rate < 64000 ? 8000 : 10000;
  const int stop_min = static_cast<int>(round_quotient(stop_hz * 128, rate));
  int widths[13];
  geometric_widths(stop_min, kTopBand, 13, widths);
  int band = stop_min;
  for (int i = 0; i < stop_freq; ++i) band += widths[i];
  return std::min(kTopBand, band);
}

// The number of bands that SBR may span.
// Kept: 35 between 32 and 48 kHz, where the standard allows 45.
int max_span(int32_t rate) {
  if (rate >= 48000) return 32;
  return rate > 32000 ? 35 : 48;
}

void store_running_sums(int first, const int* widths, int count, uint8_t* borders) {
  borders[0] = static_cast<uint8_t>(first);
  for (int i = 0; i < count; ++i) borders[i + 1] = static_cast<uint8_t>(borders[i] + widths[i]);
}

// bs_freq_scale 0: bands of equal width, with the remainder spread over the first or last ones.
void build_linear_master(bool wide, SbrBandTables& tables) {
  const int span = tables.k2 - tables.k0;
  const int width = wide ? 2 : 1;
  const int count = wide ? 2 * ((span + 2) / 4) : 2 * (span / 2);
  int widths[kMaxSbrBands] = {};
  std::fill(widths, widths + count, width);
  int rest = span - count * width;
  for (int i = 0; rest < 0 && i < count; ++i, ++rest) --widths[i];
  for (int i = count - 1; rest > 0 && i >= 0; --i, --rest) ++widths[i];
  tables.master_count = static_cast<uint8_t>(count);
  store_running_sums(tables.k0, widths, count, tables.master);
}

// Widens the first band of the upper region towards `least`, the width of the last band of the lower
// region.
void widen_first_band(int least, int* widths, int count) {
  if (widths[0] >= least) return;
  const int change = std::min(least - widths[0], (widths[count - 1] - widths[0]) / 2);
  widths[0] += change;
  widths[count - 1] -= change;
  std::sort(widths, widths + count);
}

// bs_freq_scale 1 to 3: a number of bands per octave. A range of more than an octave has a second region,
// which bs_alter_scale makes coarser.
bool build_logarithmic_master(const SbrHeader& header, SbrBandTables& tables) {
  static constexpr int kBandsPerOctave[4] = {0, 12, 10, 8};
  const int64_t per_octave = kBandsPerOctave[header.freq_scale];
  const bool two_regions = 49 * tables.k2 > 110 * tables.k0;
  const int k1 = two_regions ? 2 * tables.k0 : tables.k2;

  const auto lower_octaves = log2_of(k1) - log2_of(tables.k0);
  const int lower = 2 * static_cast<int>(round_quotient(per_octave * lower_octaves, 2 * kOctave));
  int upper = 0;
  if (two_regions) {
    const int64_t warp_tenths = header.alter_scale != 0 ? 13 : 10;
    const auto upper_octaves = log2_of(tables.k2) - log2_of(k1);
    upper = 2 * static_cast<int>(round_quotient(per_octave * upper_octaves * 10, 2 * warp_tenths * kOctave));
  }
  // More bands than fit would need widths of 0.
  if (lower < 1 || lower + upper > kMaxSbrBands) return false;

  int widths[kMaxSbrBands];
  geometric_widths(tables.k0, k1, lower, widths);
  if (widths[0] < 1) return false;
  if (upper > 0) {
    geometric_widths(k1, tables.k2, upper, widths + lower);
    widen_first_band(widths[lower - 1], widths + lower, upper);
    if (widths[lower] < 1) return false;
  }
  tables.master_count = static_cast<uint8_t>(lower + upper);
  store_running_sums(tables.k0, widths, lower + upper, tables.master);
  return true;
}

}  // namespace

bool build_master_bands(const SbrHeader& header, int32_t sbr_rate_hz, SbrBandTables& tables) {
  const int k0 = first_master_band(header.start_freq, sbr_rate_hz);
  const int k2 = last_master_band(header.stop_freq, sbr_rate_hz, k0);
  if (k2 - k0 > max_span(sbr_rate_hz)) return false;
  tables.k0 = static_cast<uint8_t>(k0);
  tables.k2 = static_cast<uint8_t>(k2);
  tables.kx = static_cast<uint8_t>(k0);
  tables.master_count = 0;
  if (k2 - k0 < 1) return true;
  if (header.freq_scale != 0) return build_logarithmic_master(header, tables);
  build_linear_master(header.alter_scale != 0, tables);
  return true;
}

}  // namespace zdr::aacdec
