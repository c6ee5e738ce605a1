// See sbr_bands.h. The standard spaces the bands of the master table evenly on a logarithmic axis; here that
// axis is log2 with 24 fraction bits. No rounding of the standard falls so close to a half that those bits
// could miss it.
#include "aacdec/syntax/sbr_bands.h"

#include <algorithm>
#include <array>
#include <bit>
#include <iterator>

namespace zdr::aacdec {
namespace {

constexpr int kTopBand = 64;
constexpr int kFractionBits = 24;
constexpr int64_t kOne = int64_t{1} << kFractionBits;

constexpr int64_t log2_q24(uint32_t n) {
  const int exponent = static_cast<int>(std::bit_width(n)) - 1;
  uint64_t mantissa = uint64_t{n} << (31 - exponent);  // 1 to 2, 31 fraction bits
  int64_t result = exponent;
  for (int i = 0; i < kFractionBits; ++i) {
    mantissa = mantissa * mantissa >> 31;
    const bool carry = mantissa >> 32 != 0;
    if (carry) mantissa >>= 1;
    result = result * 2 + (carry ? 1 : 0);
  }
  return result;
}

constexpr auto kLog2 = [] {
  std::array<int64_t, 2 * kTopBand + 2> table{};
  for (uint32_t n = 1; n < table.size(); ++n) table[n] = log2_q24(n);
  return table;
}();

constexpr int64_t log2_of(int n) {
  return kLog2[static_cast<size_t>(n)];
}

constexpr int64_t round_quotient(int64_t numerator, int64_t denominator) {
  return (2 * numerator + denominator) / (2 * denominator);
}

// round(2^x), at most kTopBand: the largest n with n - 1/2 not above 2^x.
int round_exp2(int64_t x_q24) {
  int n = 1;
  while (n < kTopBand && log2_of(2 * n + 1) - kOne <= x_q24) ++n;
  return n;
}

// Differences of the borders round(first * (last / first)^(j / count)), smallest first.
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

// start_freq moves the first band around a fixed frequency; the offsets depend on the SBR rate.
int first_master_band(int start_freq, int32_t rate) {
  static constexpr int8_t kOffsets[6][16] = {{-8, -7, -6, -5, -4, -3, -2, -1, 0, 1, 2, 3, 4, 5, 6, 7},
                                             {-5, -4, -3, -2, -1, 0, 1, 2, 3, 4, 5, 6, 7, 9, 11, 13},
                                             {-5, -3, -2, -1, 0, 1, 2, 3, 4, 5, 6, 7, 9, 11, 13, 16},
                                             {-6, -4, -2, -1, 0, 1, 2, 3, 4, 5, 6, 7, 9, 11, 13, 16},
                                             {-4, -2, -1, 0, 1, 2, 3, 4, 5, 6, 7, 9, 11, 13, 16, 20},
                                             {-2, -1, 0, 1, 2, 3, 4, 5, 6, 7, 9, 11, 13, 16, 20, 24}};
  // Highest rate of each row; 64000 and below share the fifth, all above the sixth.
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

// Bands that SBR may span. The middle limit is tighter than the standard's 45, and kept.
int max_span(int32_t rate) {
  if (rate >= 48000) return 32;
  return rate > 32000 ? 35 : 48;
}

void store_running_sums(int first, const int* widths, int count, uint8_t* borders) {
  borders[0] = static_cast<uint8_t>(first);
  for (int i = 0; i < count; ++i) borders[i + 1] = static_cast<uint8_t>(borders[i] + widths[i]);
}

// freq_scale 0: bands of equal width, the remainder spread over the first or last ones.
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

// The upper region must not begin with bands narrower than the last ones of the lower region.
void widen_first_band(int least, int* widths, int count) {
  if (widths[0] >= least) return;
  const int change = std::min(least - widths[0], (widths[count - 1] - widths[0]) / 2);
  widths[0] += change;
  widths[count - 1] -= change;
  std::sort(widths, widths + count);
}

// freq_scale 1 to 3: a number of bands an octave; above one octave a second region, which alter_scale makes
// coarser.
bool build_logarithmic_master(const SbrHeader& header, SbrBandTables& tables) {
  static constexpr int kBandsPerOctave[4] = {0, 12, 10, 8};
  const int64_t per_octave = kBandsPerOctave[header.freq_scale];
  const bool two_regions = 49 * tables.k2 > 110 * tables.k0;
  const int k1 = two_regions ? 2 * tables.k0 : tables.k2;

  const auto lower_octaves = log2_of(k1) - log2_of(tables.k0);
  const int lower = 2 * static_cast<int>(round_quotient(per_octave * lower_octaves, 2 * kOne));
  int upper = 0;
  if (two_regions) {
    const int64_t warp_tenths = header.alter_scale != 0 ? 13 : 10;
    const auto upper_octaves = log2_of(tables.k2) - log2_of(k1);
    upper = 2 * static_cast<int>(round_quotient(per_octave * upper_octaves * 10, 2 * warp_tenths * kOne));
  }
  // More bands than there is room for would need widths of 0.
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

bool derive_tables(const SbrHeader& header, SbrBandTables& tables) {
  if (header.xover_band >= tables.master_count) return false;
  const int high_count = tables.master_count - header.xover_band;
  std::copy_n(tables.master + header.xover_band, high_count + 1, tables.high);
  const int odd = high_count % 2;
  const int low_count = (high_count + 1) / 2;
  tables.low[0] = tables.high[0];
  for (int j = 1; j <= low_count; ++j) tables.low[j] = tables.high[2 * j - odd];
  tables.high_count = static_cast<uint8_t>(high_count);
  tables.low_count = static_cast<uint8_t>(low_count);
  tables.kx = tables.high[0];
  tables.m = static_cast<uint8_t>(tables.high[high_count] - tables.kx);
  return tables.kx <= kTopBand / 2;
}

bool build_noise_bands(const SbrHeader& header, SbrBandTables& tables) {
  const int64_t octaves = log2_of(tables.k2) - log2_of(tables.kx);
  const int count = std::max(1, static_cast<int>(round_quotient(header.noise_bands * octaves, kOne)));
  if (count > kMaxNoiseBands) return false;
  tables.noise_count = static_cast<uint8_t>(count);
  tables.noise[0] = tables.low[0];
  int band = 0;
  for (int j = 1; j <= count; ++j) {
    band += (tables.low_count - band) / (count + 1 - j);
    tables.noise[j] = tables.low[band];
  }
  return true;
}

// Where the next patch ends: the highest border, from `index` down, that source bands below the core's end
// can reach.
int patch_end(const SbrBandTables& tables, int index, int source_end, int& odd) {
  for (;; --index) {
    const int end = tables.master[index];
    odd = (end - 2 + tables.k0) & 1;
    if (end <= tables.k0 - 1 + source_end - odd || index == 0) return end;
  }
}

// Five patches are kept; what a sixth would fill stays silent. Of those kept a narrow last one is dropped
// unless it is the only one.
bool build_patches(int32_t rate, SbrBandTables& tables) {
  const int target_end = tables.kx + tables.m;
  const int goal = static_cast<int>(round_quotient(2048000, rate));
  const int last = tables.master_count;
  int index = last;
  if (goal < target_end) {
    index = static_cast<int>(std::lower_bound(tables.master, tables.master + last, goal) - tables.master);
  }
  int source_end = tables.k0;
  int done = tables.kx;
  int count = 0;
  int in_vain = 0;
  for (int end = 0; end != target_end && count < kMaxPatches;) {
    int odd = 0;
    end = patch_end(tables, index, source_end, odd);
    const int width = end - done;
    if (width > 0) {
      if (tables.k0 - odd - width < 0) return false;
      tables.patch_start[count] = static_cast<uint8_t>(tables.k0 - odd - width);
      tables.patch_width[count] = static_cast<uint8_t>(width);
      ++count;
      done = source_end = end;
      in_vain = 0;
    } else {
      // Again from the core's end, then with the last index; a third time would go on for ever.
      source_end = tables.kx;
      if (++in_vain == 3) return false;
    }
    if (tables.master[index] - end < 3) index = last;
  }
  if (count > 1 && tables.patch_width[count - 1] < 3) --count;
  tables.patch_count = static_cast<uint8_t>(count);
  return true;
}

// The borders of the patches, both ends included.
struct PatchBorders {
  explicit PatchBorders(const SbrBandTables& tables)
      : count(std::min<int>(tables.patch_count, kMaxPatches) + 1) {
    border[0] = tables.kx;
    for (int p = 0; p + 1 < count; ++p) {
      border[p + 1] = static_cast<uint8_t>(border[p] + tables.patch_width[p]);
    }
  }
  bool contains(uint8_t band) const { return std::find(border, border + count, band) != border + count; }

  int count;
  uint8_t border[kMaxPatches + 1];
};

// Joins neighbours that are closer than 0.49 of a limiter band, keeping patch borders where possible. Returns
// the new end of the sorted borders.
uint8_t* join_close_borders(int64_t bands_per_octave_tenths, const PatchBorders& patches, uint8_t* borders,
                            uint8_t* end) {
  const auto remove = [&end](uint8_t* border) { end = std::copy(border + 1, end, border); };
  for (uint8_t* border = borders + 1; border < end;) {
    const int64_t octaves = log2_of(*border) - log2_of(*(border - 1));
    if (octaves * bands_per_octave_tenths * 10 >= kOne * 49) {
      ++border;
    } else if (*border == *(border - 1) || !patches.contains(*border)) {
      remove(border);
    } else if (!patches.contains(*(border - 1))) {
      remove(border - 1);
    } else {
      ++border;
    }
  }
  return end;
}

}  // namespace

bool build_sbr_bands(const SbrHeader& header, int32_t sbr_rate_hz, SbrBandTables& tables) {
  tables = {};
  const int k0 = first_master_band(header.start_freq, sbr_rate_hz);
  const int k2 = last_master_band(header.stop_freq, sbr_rate_hz, k0);
  if (k2 - k0 > max_span(sbr_rate_hz)) return false;
  tables.k0 = static_cast<uint8_t>(k0);
  tables.k2 = static_cast<uint8_t>(k2);
  tables.kx = static_cast<uint8_t>(k0);
  // No room above the core is no error: the payload is then read with no bands at all.
  if (k2 - k0 < 1) return true;

  if (header.freq_scale == 0) {
    build_linear_master(header.alter_scale != 0, tables);
  } else if (!build_logarithmic_master(header, tables)) {
    return false;
  }
  return derive_tables(header, tables) && build_noise_bands(header, tables) &&
         build_patches(sbr_rate_hz, tables);
}

void build_limiter_bands(const SbrHeader& header, SbrBandTables& tables) {
  tables.limiter_count = 0;
  if (tables.low_count == 0) return;
  if (header.limiter_bands == 0) {
    tables.limiter_count = 1;
    tables.limiter[0] = tables.low[0];
    tables.limiter[1] = tables.low[tables.low_count];
    return;
  }
  const PatchBorders patches(tables);
  uint8_t* const borders = tables.limiter;
  uint8_t* end = std::copy_n(tables.low, tables.low_count + 1, borders);
  if (patches.count > 2) end = std::copy(patches.border + 1, patches.border + patches.count - 1, end);
  std::sort(borders, end);
  // 1.2, 2 or 3 bands an octave.
  static constexpr int64_t kBandsPerOctaveTenths[4] = {0, 12, 20, 30};
  end = join_close_borders(kBandsPerOctaveTenths[header.limiter_bands], patches, borders, end);
  tables.limiter_count = static_cast<uint8_t>(end - borders - 1);
}

}  // namespace zdr::aacdec
