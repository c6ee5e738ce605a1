// Computes the covariances and predictors of the source rows and applies the patches.
#include "aacdec/sbr/sbr_hf_generation.h"

#include <algorithm>
#include <bit>

#include "aacdec/fixed/fixed_point.h"
#include "aacdec/sbr/sbr_kernels.h"
#include "aacdec/sbr/sbr_prediction.h"

namespace zdr::aacdec {
namespace {

constexpr int kCovarianceSlots = kRowSlots - 2;

// x[at + lag] conj(x[at])
ComplexSum lagged_product(const int32_t* re, const int32_t* im, int at, int lag) {
  return {int64_t{re[at + lag]} * re[at] + int64_t{im[at + lag]} * im[at],
          int64_t{im[at + lag]} * re[at] - int64_t{re[at + lag]} * im[at]};
}

// Samples below 2^28 keep every sum below 2^63.
Covariance covariance(const int32_t* re, const int32_t* im, const LaggedSums& sums) {
  Covariance c;
  c.r22 = sums.energy;
  c.r12 = {sums.re1, sums.im1};
  c.r02 = {sums.re2, sums.im2};
  // Shifted by one slot: one product is added, one removed.
  c.r11 = c.r22 - lagged_product(re, im, 0, 0).re + lagged_product(re, im, kCovarianceSlots, 0).re;
  const ComplexSum first = lagged_product(re, im, 0, 1);
  const ComplexSum last = lagged_product(re, im, kCovarianceSlots, 1);
  c.r01 = {c.r12.re - first.re + last.re, c.r12.im - first.im + last.im};
  return c;
}

// The strength of the inverse filter (bandwidth expansion) in Q31, from the modes of the previous frame and
// of this one.
int32_t bandwidth_of_modes(int before, int now) {
  constexpr int32_t kWeak = 1288490189;    // 0.6: entering or leaving whitening
  constexpr int32_t kLow = 1610612736;     // 0.75
  constexpr int32_t kMiddle = 1932735283;  // 0.9
  constexpr int32_t kHigh = 2104533975;    // 0.98
  switch (now) {
    case 0:
      return before == 1 ? kWeak : 0;
    case 1:
      return before == 0 ? kWeak : kLow;
    case 2:
      return kMiddle;
    default:
      return kHigh;
  }
}

// Entries past the noise bands of this frame retain their values for a later header with more bands.
void update_bandwidths(const SbrChannelFrame& frame, SbrChannelState& state) {
  constexpr int32_t kLeast = 1 << 25;         // 1/64
  constexpr int32_t kMost = 255 * (1 << 23);  // 255/256
  for (int band = 0; band < frame.bands.noise_count; ++band) {
    const int64_t target = bandwidth_of_modes(state.invf_mode[band], frame.invf_mode[band]);
    const int64_t before = state.bandwidth_q31[band];
    const int64_t value = target < before ? (3 * target + before) >> 2 : (29 * target + 3 * before) >> 5;
    state.bandwidth_q31[band] = value < kLeast ? 0 : static_cast<int32_t>(std::min<int64_t>(value, kMost));
    state.invf_mode[band] = frame.invf_mode[band];
  }
}

int32_t scaled_q31(int32_t value, int32_t factor_q31) {
  return static_cast<int32_t>((int64_t{value} * factor_q31 + (1 << 30)) >> 31);
}

// What is known of a row that patches read.
struct Source {
  RowPredictor predictor;
  int bits;
  bool has_bits = false;
};

// A row to generate: where it is copied from, and how strongly it is whitened.
struct PatchedRow {
  int source;
  int target;
  int end_slot;
  int32_t bandwidth_q31;
};

void measure_bits(const QmfMatrix& bands, int row, Source& source) {
  uint32_t bits = 0;
  for (int s = 0; s < kRowSlots; ++s) bits |= magnitude(bands.re[row][s]) | magnitude(bands.im[row][s]);
  source.bits = static_cast<int>(std::bit_width(bits));
  source.has_bits = true;
}

// Finds the predictors of the rows whose bit is set in `rows`.
void analyse_sources(const SbrKernels& kernels, const QmfMatrix& bands, uint32_t rows, Source* sources) {
  Covariance covariances[kCoreBands];
  RowPredictor predictors[kCoreBands];
  int count = 0;
  for (uint32_t rest = rows; rest != 0; rest &= rest - 1) {
    const int row = std::countr_zero(rest);
    LaggedSums sums;
    kernels.correlate(bands.re[row], bands.im[row], kCovarianceSlots, sums);
    covariances[count++] = covariance(bands.re[row], bands.im[row], sums);
    sources[row].bits = static_cast<int>(std::bit_width(sums.bits));
    sources[row].has_bits = true;
  }
  find_predictors(kernels, covariances, count, predictors);
  count = 0;
  for (uint32_t rest = rows; rest != 0; rest &= rest - 1) {
    sources[std::countr_zero(rest)].predictor = predictors[count++];
  }
}

// The noise band that contains a band, known to be `from` or a higher one.
int noise_band_of(const SbrBandTables& tables, int band, int from) {
  while (from + 1 < tables.noise_count && tables.noise[from + 1] <= band) ++from;
  return from;
}

// The unit of a patched row: with taps below 4, the result of the filter is below 2^4 times its input.
int patch_shift(const Source& source) {
  return source.bits + 4;
}

RowScale scale_of_patch(const Source& source) {
  return {static_cast<int8_t>(patch_shift(source) - 28 - kSampleScaleBits)};
}

void patch_whitened(const SbrKernels& kernels, const PatchedRow& row, const Source& source,
                    QmfMatrix& bands) {
  const int32_t squared = scaled_q31(row.bandwidth_q31, row.bandwidth_q31);
  const RowPredictor& p = source.predictor;
  PatchFilter filter;
  filter.source = row.source;
  filter.target = row.target;
  filter.tap1_re = scaled_q31(p.tap1_re, row.bandwidth_q31);
  filter.tap1_im = scaled_q31(p.tap1_im, row.bandwidth_q31);
  filter.tap2_re = scaled_q31(p.tap2_re, squared);
  filter.tap2_im = scaled_q31(p.tap2_im, squared);
  filter.shift = patch_shift(source);
  filter.end = row.end_slot;
  kernels.patch(bands, filter);
}

// `from` in the unit of the patched row, as the kernel computes it if both taps are 0.
void rescale_row(const int32_t* from, int32_t* to, int end_slot, int shift) {
  const int left = std::max(28 - shift, 0);
  const int right = std::max(shift - 28, 0);
  const int32_t half = right == 0 ? 0 : 1 << (right - 1);
  for (int s = kLeadSlots; s < end_slot; ++s) {
    // `from` is below 2^bits, the result below 2^24.
    to[s] = (shift_left_wrapping(from[s], left) + half) >> right;
  }
}

void patch_unchanged(const PatchedRow& row, const Source& source, QmfMatrix& bands) {
  const int shift = patch_shift(source);
  rescale_row(bands.re[row.source], bands.re[row.target], row.end_slot, shift);
  rescale_row(bands.im[row.source], bands.im[row.target], row.end_slot, shift);
}

// Without whitening, which is frequent, a row needs no predictor.
RowScale patch_row(const SbrKernels& kernels, const PatchedRow& row, Source& source, QmfMatrix& bands) {
  if (row.bandwidth_q31 == 0) {
    if (!source.has_bits) measure_bits(bands, row.source, source);
    patch_unchanged(row, source, bands);
  } else {
    patch_whitened(kernels, row, source, bands);
  }
  return scale_of_patch(source);
}

}  // namespace

void generate_high_bands(const SbrChannelFrame& frame, SbrChannelState& state, QmfMatrix& bands,
                         RowScale (&scales)[kQmfBands]) {
  update_bandwidths(frame, state);
  const SbrBandTables& tables = frame.bands;
  Source sources[kCoreBands];
  const int end = tables.kx + tables.m;
  // Nothing reads the slots after the last border.
  const int end_slot = kLeadSlots + 2 * frame.grid.border[frame.grid.envelope_count];
  PatchedRow rows[kQmfBands];
  uint32_t predicted = 0;
  int target = tables.kx;
  int noise_band = 0;
  for (int patch = 0; patch < tables.patch_count; ++patch) {
    for (int i = 0; i < tables.patch_width[patch] && target < end; ++i, ++target) {
      noise_band = noise_band_of(tables, target, noise_band);
      const int source = tables.patch_start[patch] + i;
      const int32_t bandwidth_q31 = state.bandwidth_q31[noise_band];
      rows[target] = {source, target, end_slot, bandwidth_q31};
      if (bandwidth_q31 != 0) predicted |= uint32_t{1} << source;
    }
  }
  const SbrKernels& kernels = sbr_kernels();
  analyse_sources(kernels, bands, predicted, sources);
  for (int row = tables.kx; row < target; ++row) {
    scales[row] = patch_row(kernels, rows[row], sources[rows[row].source], bands);
  }
  for (; target < end; ++target) {
    clear_columns(bands, target, 0, kRowSlots);
    scales[target] = {};
  }
}

}  // namespace zdr::aacdec
