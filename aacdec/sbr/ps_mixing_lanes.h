// Stereo mixing of parametric stereo (ISO/IEC 14496-3, subpart 8), eight slots at a time: left and right from
// the signal and its decorrelated copy. For kernel files only.
#pragma once

#include <cstdint>
#include <cstring>

#include "aacdec/fixed/wide_lanes.h"
#include "aacdec/sbr/high_band_lanes.h"
#include "aacdec/sbr/ps_hybrid_lanes.h"
#include "aacdec/sbr/ps_state.h"
#include "aacdec/tables/ps_constants.h"

namespace zdr::aacdec {
namespace {

// v to 8 v.
[[gnu::always_inline]] inline Lanes multiples(uint32_t v) {
  static constexpr int32_t kMasks[4][kLanes] = {{-1, 0, -1, 0, -1, 0, -1, 0},
                                                {0, -1, -1, 0, 0, -1, -1, 0},
                                                {0, 0, 0, -1, -1, -1, -1, 0},
                                                {0, 0, 0, 0, 0, 0, 0, -1}};
  Lanes sum{};
  for (int bit = 0; bit < 4; ++bit) {
    sum = sum + (broadcast(static_cast<int32_t>(v << bit)) & load(kMasks[bit]));
  }
  return sum;
}

void draw_line(int32_t* row, int count, int32_t from, int64_t step) {
  // The fraction of the step times 32 fits 32 bits.
  static_assert(kLineFraction + 5 < 32);
  const auto whole = static_cast<uint32_t>(step >> kLineFraction);
  const auto fraction = static_cast<uint32_t>(step) & ((1U << kLineFraction) - 1);
  Lanes units = multiples(whole) + static_cast<uint32_t>(from);
  Lanes parts = multiples(fraction);
  for (int n = 0; n < count; n += kLanes) {
    store(row + n, select(first_lanes(count - n), units + (parts >> kLineFraction), load(row + n)));
    units = units + kLanes * whole;
    parts = parts + kLanes * fraction;
  }
}

struct StereoLanes {
  ComplexLanes left, right;
};

// These mix at 2^5 per step of PCM to 2^4.
[[gnu::always_inline]] inline ComplexLanes mixed(ComplexLanes signal, Lanes gain) {
  return {narrowed(wide_product(signal.re, gain), 31), narrowed(wide_product(signal.im, gain), 31)};
}

[[gnu::always_inline]] inline ComplexLanes mixed(ComplexLanes signal, Lanes signal_gain, ComplexLanes copy,
                                                 Lanes copy_gain) {
  return {narrowed(wide_product(signal.re, signal_gain) + wide_product(copy.re, copy_gain), 31),
          narrowed(wide_product(signal.im, signal_gain) + wide_product(copy.im, copy_gain), 31)};
}

inline StereoLanes mix(const PsSynthesisState& ps, int parameter_band, int slot, ComplexLanes signal,
                       ComplexLanes undamped) {
  const auto& rows = ps.mixing_rows_q30[parameter_band];
  const Lanes left = load(rows[0] + slot);
  const Lanes right = load(rows[1] + slot);
  if (!ps.mixes_copy[parameter_band]) return {mixed(signal, left), mixed(signal, right)};
  ComplexLanes copy = undamped;
  if (const Lanes damping = load(ps.damping_q30[parameter_band] + slot);
      any_bits(damping ^ (1U << 30)) != 0) {
    copy = {narrowed(wide_product(undamped.re, damping), 30),
            narrowed(wide_product(undamped.im, damping), 30)};
  }
  return {mixed(signal, left, copy, load(rows[2] + slot)), mixed(signal, right, copy, load(rows[3] + slot))};
}

[[gnu::always_inline]] inline void store_stereo(QmfMatrix& left, QmfMatrix& right, int band, int slot,
                                                const StereoLanes& v) {
  store(left.re[band] + kLeadSlots + slot, v.left.re);
  store(left.im[band] + kLeadSlots + slot, v.left.im);
  store(right.re[band] + kLeadSlots + slot, v.right.re);
  store(right.im[band] + kLeadSlots + slot, v.right.im);
}

// Mixes the sub-bands [first, end) and adds them up to QMF band `band`.
inline void mix_split_band(int first, int end, int band, PsSynthesisState& ps, QmfMatrix& bands) {
  for (int slot = 0; slot < kQmfSlots; slot += kLanes) {
    StereoLanes sum{};
    for (int k = first; k < end; ++k) {
      const ComplexRow& signal = ps.hybrid[k];
      const ComplexRow& copy = ps.decorrelated[k];
      const StereoLanes v =
          mix(ps, kPsBandOfSubBand[k], slot, {load(signal.re + slot), load(signal.im + slot)},
              {load(copy.re + slot), load(copy.im + slot)});
      sum = {sum.left + v.left, sum.right + v.right};
    }
    store_stereo(bands, ps.right, band, slot, sum);
  }
}

inline void mix_all_pass_band(int k, PsSynthesisState& ps, QmfMatrix& bands) {
  const int band = k - kHybridBands + kSplitBands;
  const SubBandRow signal = sub_band_row(bands, ps, k);
  const ComplexRow& copy = ps.decorrelated[k];
  for (int slot = 0; slot < kQmfSlots; slot += kLanes) {
    const StereoLanes v =
        mix(ps, kPsBandOfSubBand[k], slot, signal.at(slot), {load(copy.re + slot), load(copy.im + slot)});
    store_stereo(bands, ps.right, band, slot, v);
  }
}

inline constexpr int kDelayColumn = 16;

inline void mix_delayed_band(int k, PsSynthesisState& ps, QmfMatrix& bands) {
  const int band = k - kHybridBands + kSplitBands;
  const SubBandRow signal = sub_band_row(bands, ps, k);
  int32_t re[kRowStride];
  int32_t im[kRowStride];
  int32_t* const history_re = ps.memory.delay_re[k - kAllPassBands];
  int32_t* const history_im = ps.memory.delay_im[k - kAllPassBands];
  std::memcpy(re + kDelayColumn - kLongDelay, history_re, kLongDelay * 4);
  std::memcpy(im + kDelayColumn - kLongDelay, history_im, kLongDelay * 4);
  std::memcpy(re + kDelayColumn, signal.re, kQmfSlots * 4);
  std::memcpy(im + kDelayColumn, signal.im, kQmfSlots * 4);
  std::memcpy(history_re, re + kDelayColumn + kQmfSlots - kLongDelay, kLongDelay * 4);
  std::memcpy(history_im, im + kDelayColumn + kQmfSlots - kLongDelay, kLongDelay * 4);
  const int first = kDelayColumn - (k < kShortDelayBand ? kLongDelay : kShortDelay);
  for (int slot = 0; slot < kQmfSlots; slot += kLanes) {
    const ComplexLanes now{load(re + kDelayColumn + slot), load(im + kDelayColumn + slot)};
    const ComplexLanes copy{load(re + first + slot), load(im + first + slot)};
    store_stereo(bands, ps.right, band, slot, mix(ps, kPsBandOfSubBand[k], slot, now, copy));
  }
}

// Writes the left channel to `bands` and the right one to ps.right.
void mix_channels(PsSynthesisState& ps, int band_end, QmfMatrix& bands) {
  mix_split_band(0, 6, 0, ps, bands);
  mix_split_band(6, 8, 1, ps, bands);
  mix_split_band(8, kHybridBands, 2, ps, bands);
  for (int k = kHybridBands; k < kAllPassBands; ++k) mix_all_pass_band(k, ps, bands);
  for (int k = kAllPassBands; k < band_end + kHybridBands - kSplitBands; ++k) mix_delayed_band(k, ps, bands);
  for (int band = band_end; band < kQmfBands; ++band) {
    std::memset(ps.right.re[band] + kLeadSlots, 0, kQmfSlots * 4);
    std::memset(ps.right.im[band] + kLeadSlots, 0, kQmfSlots * 4);
  }
}

}  // namespace
}  // namespace zdr::aacdec
