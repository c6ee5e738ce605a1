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
  static constexpr int32_t kCounts[kLanes] = {1, 2, 3, 4, 5, 6, 7, 8};
  return each([v](Register counts) { return low_words(unsigned_product(counts, Register{} + v)); },
              load(kCounts));
}

void draw_line(int32_t* row, int count, int32_t from, int64_t step) {
  // The fraction of the step times 32 fits 32 bits.
  static_assert(kLineFraction + 5 < 32);
  const auto whole = static_cast<uint32_t>(step >> kLineFraction);
  const auto fraction = static_cast<uint32_t>(step) & ((1U << kLineFraction) - 1);
  Lanes units = multiples(whole) + static_cast<uint32_t>(from);
  Lanes parts = multiples(fraction);
  for (; count >= kLanes; count -= kLanes, row += kLanes) {
    store(row, units + (parts >> kLineFraction));
    units = units + kLanes * whole;
    parts = parts + kLanes * fraction;
  }
  if (count > 0) store(row, select(first_lanes(count), units + (parts >> kLineFraction), load(row)));
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
  static_assert(kDampingBlock == kLanes);
  ComplexLanes copy = undamped;
  if ((ps.damped_blocks[parameter_band] >> slot / kLanes & 1) != 0) {
    const Lanes damping = load(ps.damping_q30[parameter_band] + slot);
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

// The copy is the signal `delay` slots ago; `before` holds the `delay` slots before the frame, and its first
// ones after them.
[[gnu::always_inline]] inline void mix_with_delayed(int k, int delay, const SubBandRow& before,
                                                    PsSynthesisState& ps, QmfMatrix& bands) {
  const SubBandRow signal = sub_band_row(bands, ps, k);
  // Backwards, because the left channel replaces the signal.
  for (int slot = kQmfSlots - kLanes; slot >= 0; slot -= kLanes) {
    const ComplexLanes copy = (slot < delay ? before : signal).at(slot - delay);
    const StereoLanes v = mix(ps, kPsBandOfSubBand[k], slot, signal.at(slot), copy);
    store_stereo(bands, ps.right, k - kHybridBands + kSplitBands, slot, v);
  }
}

inline void mix_long_delayed_band(int k, PsSynthesisState& ps, QmfMatrix& bands) {
  const SubBandRow signal = sub_band_row(bands, ps, k);
  int32_t* const delay_re = ps.memory.long_delay_re[k - kAllPassBands];
  int32_t* const delay_im = ps.memory.long_delay_im[k - kAllPassBands];
  const ComplexLanes start = signal.at(0);
  store(delay_re + kLongDelay, start.re);
  store(delay_im + kLongDelay, start.im);
  const ComplexLanes first_kept = signal.at(kQmfSlots - kLongDelay);
  const ComplexLanes last_kept = signal.at(kQmfSlots - kLanes);
  mix_with_delayed(k, kLongDelay, {delay_re + kLongDelay, delay_im + kLongDelay}, ps, bands);
  store(delay_re, first_kept.re);
  store(delay_im, first_kept.im);
  store(delay_re + kLongDelay - kLanes, last_kept.re);
  store(delay_im + kLongDelay - kLanes, last_kept.im);
}

inline void mix_short_delayed_band(int k, PsSynthesisState& ps, QmfMatrix& bands) {
  static_assert(kShortDelay == 1 && kLeadSlots >= kShortDelay);
  int32_t* const re = bands.re[k - kHybridBands + kSplitBands] + kLeadSlots;
  int32_t* const im = bands.im[k - kHybridBands + kSplitBands] + kLeadSlots;
  int32_t& kept_re = ps.memory.short_delay_re[k - kShortDelayBand];
  int32_t& kept_im = ps.memory.short_delay_im[k - kShortDelayBand];
  re[-1] = kept_re;
  im[-1] = kept_im;
  kept_re = re[kQmfSlots - 1];
  kept_im = im[kQmfSlots - 1];
  mix_with_delayed(k, kShortDelay, {re, im}, ps, bands);
}

// Writes the left channel to `bands` and the right one to ps.right.
void mix_channels(PsSynthesisState& ps, int band_end, QmfMatrix& bands) {
  mix_split_band(0, 6, 0, ps, bands);
  mix_split_band(6, 8, 1, ps, bands);
  mix_split_band(8, kHybridBands, 2, ps, bands);
  for (int k = kHybridBands; k < kAllPassBands; ++k) mix_all_pass_band(k, ps, bands);
  for (int k = kAllPassBands; k < band_end + kHybridBands - kSplitBands; ++k) {
    if (k < kShortDelayBand) {
      mix_long_delayed_band(k, ps, bands);
    } else {
      mix_short_delayed_band(k, ps, bands);
    }
  }
  for (int band = band_end; band < kQmfBands; ++band) {
    std::memset(ps.right.re[band] + kLeadSlots, 0, kQmfSlots * 4);
    std::memset(ps.right.im[band] + kLeadSlots, 0, kQmfSlots * 4);
  }
}

}  // namespace
}  // namespace zdr::aacdec
