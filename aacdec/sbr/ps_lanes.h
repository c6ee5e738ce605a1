// The inner loops of parametric stereo, eight slots or eight sub-bands at a time.
//
// For kernel files only, see fixed_lanes.h.
#pragma once

#include "aacdec/fixed/wide_lanes.h"
#include "aacdec/sbr/ps_synthesis.h"
#include "aacdec/tables/ps_constants.h"

namespace zdr::aacdec {
namespace {

// ---- Sub-bands ----

// Brings the slots of all bands to kPsScaleBits.
inline void limit_samples(QmfMatrix& bands) {
  constexpr int32_t kLimit = 1 << 27;
  for (int band = 0; band < kQmfBands; ++band) {
    // The slots ahead as well.
    for (int s = kLeadSlots; s < kRowSlots; s += kLanes) {
      for (int32_t* row : {bands.re[band] + s, bands.im[band] + s}) {
        store(row, clamped(shift_right_rounded(load(row), kSampleScaleBits - kPsScaleBits), -kLimit, kLimit));
      }
    }
  }
}

inline constexpr int kHybridColumn = 8;

// One split band: the last slots of the frame before, those of this one, and those ahead.
struct HybridInput {
  int32_t re[kRowStride];
  int32_t im[kRowStride];

  [[gnu::always_inline]] inline ComplexLanes at(int slot) const {
    return {load(re + kHybridColumn + slot), load(im + kHybridColumn + slot)};
  }
};

inline void lay_out_hybrid(const QmfMatrix& bands, int band, PsSynthesis& ps, HybridInput& in) {
  constexpr int kFirst = kHybridColumn - kHybridDelay;
  constexpr int kHistoryBytes = kHybridDelay * 4;
  constexpr int kNewBytes = (kQmfSlots + kHybridDelay) * 4;
  std::memcpy(in.re + kFirst, ps.memory.hybrid_re[band], kHistoryBytes);
  std::memcpy(in.im + kFirst, ps.memory.hybrid_im[band], kHistoryBytes);
  std::memcpy(in.re + kHybridColumn, bands.re[band] + kLeadSlots, kNewBytes);
  std::memcpy(in.im + kHybridColumn, bands.im[band] + kLeadSlots, kNewBytes);
  std::memcpy(ps.memory.hybrid_re[band], in.re + kHybridColumn + kQmfSlots - kHybridDelay, kHistoryBytes);
  std::memcpy(ps.memory.hybrid_im[band], in.im + kHybridColumn + kQmfSlots - kHybridDelay, kHistoryBytes);
}

[[gnu::always_inline]] inline void store_row(ComplexRow& row, int slot, ComplexLanes v) {
  store(row.re + slot, v.re);
  store(row.im + slot, v.im);
}

struct WideComplex {
  WideLanes re, im;
};

[[gnu::always_inline]] inline ComplexLanes narrowed30(WideComplex v) {
  return {narrowed(v.re, 30), narrowed(v.im, 30)};
}

// Channels q and 7 - q of the eight that band 0 is split in have conjugate filters: they differ in the sign
// of `odd`.
inline void split_in_eight(const HybridInput& in, int slot, int q, WideComplex& even, WideComplex& odd) {
  const ComplexLanes centre = in.at(slot);
  even = WideComplex{widened(centre.re, 27), widened(centre.im, 27)};
  odd = WideComplex{};
  for (int t = 1; t <= kHybridDelay; ++t) {
    const ComplexLanes sum = in.at(slot - t) + in.at(slot + t);
    const ComplexLanes difference = in.at(slot - t) - in.at(slot + t);
    const Lanes tap_re = broadcast(kHybridTaps.tap[q][t - 1].re);
    const Lanes tap_im = broadcast(kHybridTaps.tap[q][t - 1].im);
    even.re = even.re + wide_product(sum.re, tap_re);
    even.im = even.im + wide_product(sum.im, tap_re);
    odd.re = odd.re - wide_product(difference.im, tap_im);
    odd.im = odd.im + wide_product(difference.re, tap_im);
  }
}

inline void split_band_0(const HybridInput& in, ComplexRow* out) {
  for (int slot = 0; slot < kQmfSlots; slot += kLanes) {
    WideComplex even[4];
    WideComplex odd[4];
    for (int q = 0; q < 4; ++q) split_in_eight(in, slot, q, even[q], odd[q]);
    store_row(out[0], slot, narrowed30({even[1].re - odd[1].re, even[1].im - odd[1].im}));
    store_row(out[1], slot, narrowed30({even[0].re - odd[0].re, even[0].im - odd[0].im}));
    store_row(out[2], slot, narrowed30({even[0].re + odd[0].re, even[0].im + odd[0].im}));
    store_row(out[3], slot, narrowed30({even[1].re + odd[1].re, even[1].im + odd[1].im}));
    // Both channels of a pair together.
    store_row(out[4], slot, narrowed30({even[2].re + even[2].re, even[2].im + even[2].im}));
    store_row(out[5], slot, narrowed30({even[3].re + even[3].re, even[3].im + even[3].im}));
  }
}

// The lower channel is the sum in band 2, the difference in band 1, whose frequencies run downwards.
inline void split_in_two(const HybridInput& in, ComplexRow& sum_row, ComplexRow& difference_row) {
  for (int slot = 0; slot < kQmfSlots; slot += kLanes) {
    const ComplexLanes centre = in.at(slot);
    const WideComplex even{widened(centre.re, 29), widened(centre.im, 29)};
    WideComplex odd{};
    for (int i = 0; i < 3; ++i) {
      const ComplexLanes sum = in.at(slot - 2 * i - 1) + in.at(slot + 2 * i + 1);
      const Lanes tap = broadcast(kHalfBandTapsQ30[i]);
      odd.re = odd.re + wide_product(sum.re, tap);
      odd.im = odd.im + wide_product(sum.im, tap);
    }
    store_row(sum_row, slot, narrowed30({even.re + odd.re, even.im + odd.im}));
    store_row(difference_row, slot, narrowed30({even.re - odd.re, even.im - odd.im}));
  }
}

// Fills ps.hybrid; the other sub-bands are rows of `bands`, limited in place.
void split_bands(QmfMatrix& bands, PsSynthesis& ps) {
  limit_samples(bands);
  HybridInput in;
  lay_out_hybrid(bands, 0, ps, in);
  split_band_0(in, ps.hybrid);
  lay_out_hybrid(bands, 1, ps, in);
  split_in_two(in, ps.hybrid[7], ps.hybrid[6]);
  lay_out_hybrid(bands, 2, ps, in);
  split_in_two(in, ps.hybrid[8], ps.hybrid[9]);
}

struct SubBandRow {
  const int32_t* re;
  const int32_t* im;

  [[gnu::always_inline]] inline ComplexLanes at(int slot) const { return {load(re + slot), load(im + slot)}; }
};

inline SubBandRow sub_band_row(const QmfMatrix& bands, const PsSynthesis& ps, int k) {
  if (k < kHybridBands) return {ps.hybrid[k].re, ps.hybrid[k].im};
  const int band = k - kHybridBands + kSplitBands;
  return {bands.re[band] + kLeadSlots, bands.im[band] + kLeadSlots};
}

// Fills ps.energy.
void measure_energies(const QmfMatrix& bands, PsSynthesis& ps) {
  std::memset(ps.energy, 0, sizeof ps.energy);
  for (int k = 0; k < kSubBands; ++k) {
    const SubBandRow row = sub_band_row(bands, ps, k);
    uint64_t* const energy = ps.energy[kPsBandOfSubBand[k]];
    for (int slot = 0; slot < kQmfSlots; slot += kLanes) {
      const ComplexLanes v = row.at(slot);
      const WideLanes sum = wide_product(v.re, v.re) + wide_product(v.im, v.im);
      for (int i = 0; i < kLanes / 2; ++i) {
        energy[slot + 2 * i] += sum.even[i];
        energy[slot + 2 * i + 1] += sum.odd[i];
      }
    }
  }
}

// ---- Decorrelation ----

inline constexpr int kLinkDelay[kAllPassLinks] = {3, 4, 5};
inline constexpr int kLinkStart[kAllPassLinks] = {0, 3, 7};

// What eight sub-bands multiply with.
struct AllPassFactors {
  ComplexLanes delay;
  ComplexLanes link[kAllPassLinks];
  Lanes gain[kAllPassLinks];
};

[[gnu::always_inline]] inline ComplexLanes rotated(ComplexLanes a, ComplexLanes w_q30) {
  return {narrowed(wide_product(a.re, w_q30.re) - wide_product(a.im, w_q30.im), 30),
          narrowed(wide_product(a.re, w_q30.im) + wide_product(a.im, w_q30.re), 30)};
}

// One link: y = w[-d] turned - gain x, w[0] = x + gain y.
[[gnu::always_inline]] inline ComplexLanes all_pass_link(ComplexLanes x, ComplexLanes& delayed,
                                                         ComplexLanes phase, Lanes gain) {
  const ComplexLanes turned = rotated(delayed, phase);
  const ComplexLanes y{turned.re - narrowed(wide_product(x.re, gain), 30),
                       turned.im - narrowed(wide_product(x.im, gain), 30)};
  delayed = {x.re + narrowed(wide_product(y.re, gain), 30), x.im + narrowed(wide_product(y.im, gain), 30)};
  return y;
}

// Eight sub-bands through the frame. Rings of delayed values begin at slot 0 of the frame; the state keeps
// them so that the next frame's do again.
struct AllPassRings {
  ComplexLanes input[AllPassState::kInputSlots];
  ComplexLanes link[AllPassState::kLinkSlots];

  void load_from(const AllPassState& state, int lane) {
    for (int i = 0; i < AllPassState::kInputSlots; ++i) {
      input[i] = {load(state.input_re[i] + lane), load(state.input_im[i] + lane)};
    }
    for (int i = 0; i < AllPassState::kLinkSlots; ++i) {
      link[i] = {load(state.link_re[i] + lane), load(state.link_im[i] + lane)};
    }
  }
  void store_to(AllPassState& state, int lane) const {
    for (int i = 0; i < AllPassState::kInputSlots; ++i) {
      store(state.input_re[i] + lane, input[i].re);
      store(state.input_im[i] + lane, input[i].im);
    }
    for (int m = 0; m < kAllPassLinks; ++m) {
      for (int i = 0; i < kLinkDelay[m]; ++i) {
        const ComplexLanes& v = link[kLinkStart[m] + (kQmfSlots + i) % kLinkDelay[m]];
        store(state.link_re[kLinkStart[m] + i] + lane, v.re);
        store(state.link_im[kLinkStart[m] + i] + lane, v.im);
      }
    }
  }
};

// Eight slots of eight sub-bands; rows are slots on entry and sub-bands on return.
inline void all_pass_block(const AllPassFactors& factors, int first_slot, AllPassRings& rings,
                           Lanes (&re)[kLanes], Lanes (&im)[kLanes]) {
  for (int t = 0; t < kLanes; ++t) {
    const int slot = first_slot + t;
    ComplexLanes& oldest = rings.input[slot % AllPassState::kInputSlots];
    ComplexLanes x = rotated(oldest, factors.delay);
    oldest = {re[t], im[t]};
    for (int m = 0; m < kAllPassLinks; ++m) {
      x = all_pass_link(x, rings.link[kLinkStart[m] + slot % kLinkDelay[m]], factors.link[m],
                        factors.gain[m]);
    }
    re[t] = x.re;
    im[t] = x.im;
  }
}

inline AllPassFactors all_pass_factors(int lane) {
  AllPassFactors f;
  f.delay = {load(kDelayPhases.re_q30 + lane), load(kDelayPhases.im_q30 + lane)};
  for (int m = 0; m < kAllPassLinks; ++m) {
    f.link[m] = {load(kLinkPhases[m].re_q30 + lane), load(kLinkPhases[m].im_q30 + lane)};
    f.gain[m] = load(kLinkGains[m].q30 + lane);
  }
  return f;
}

// Fills ps.decorrelated.
void decorrelate(const QmfMatrix& bands, PsSynthesis& ps) {
  static_assert(kQmfSlots % AllPassState::kInputSlots == 0);
  for (int lane = 0; lane < kAllPassLanes; lane += kLanes) {
    const AllPassFactors factors = all_pass_factors(lane);
    AllPassRings rings;
    rings.load_from(ps.memory.all_pass, lane);
    for (int slot = 0; slot < kQmfSlots; slot += kLanes) {
      Lanes re[kLanes];
      Lanes im[kLanes];
      for (int i = 0; i < kLanes; ++i) {
        // The last two lanes carry sub-bands that are delayed only; nothing is taken from them.
        const ComplexLanes v = sub_band_row(bands, ps, lane + i).at(slot);
        re[i] = v.re;
        im[i] = v.im;
      }
      transpose(re);
      transpose(im);
      all_pass_block(factors, slot, rings, re, im);
      transpose(re);
      transpose(im);
      for (int i = 0; i < kLanes && lane + i < kAllPassBands; ++i) {
        store_row(ps.decorrelated[lane + i], slot, {re[i], im[i]});
      }
    }
    rings.store_to(ps.memory.all_pass, lane);
  }
}

// ---- Mixing ----

struct StereoLanes {
  ComplexLanes left, right;
};

// From 2^5 a step to 2^4.
[[gnu::always_inline]] inline Lanes mixed(Lanes signal, Lanes signal_gain, Lanes copy, Lanes copy_gain) {
  return narrowed(wide_product(signal, signal_gain) + wide_product(copy, copy_gain), 31);
}

inline StereoLanes mix(const PsSynthesis& ps, int parameter_band, int slot, ComplexLanes signal,
                       ComplexLanes undamped) {
  const Lanes damping = load(ps.damping_q30[parameter_band] + slot);
  const ComplexLanes copy{narrowed(wide_product(undamped.re, damping), 30),
                          narrowed(wide_product(undamped.im, damping), 30)};
  const auto& rows = ps.mixing_rows_q30[parameter_band];
  const Lanes left_signal = load(rows[0] + slot);
  const Lanes right_signal = load(rows[1] + slot);
  const Lanes left_copy = load(rows[2] + slot);
  const Lanes right_copy = load(rows[3] + slot);
  return {
      {mixed(signal.re, left_signal, copy.re, left_copy), mixed(signal.im, left_signal, copy.im, left_copy)},
      {mixed(signal.re, right_signal, copy.re, right_copy),
       mixed(signal.im, right_signal, copy.im, right_copy)}};
}

[[gnu::always_inline]] inline void store_stereo(QmfMatrix& left, QmfMatrix& right, int band, int slot,
                                                const StereoLanes& v) {
  store(left.re[band] + kLeadSlots + slot, v.left.re);
  store(left.im[band] + kLeadSlots + slot, v.left.im);
  store(right.re[band] + kLeadSlots + slot, v.right.re);
  store(right.im[band] + kLeadSlots + slot, v.right.im);
}

// The sub-bands [first, end) together make QMF band `band`.
inline void mix_split_band(int first, int end, int band, PsSynthesis& ps, QmfMatrix& bands) {
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

inline void mix_all_pass_band(int k, PsSynthesis& ps, QmfMatrix& bands) {
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

inline void mix_delayed_band(int k, PsSynthesis& ps, QmfMatrix& bands) {
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

// Makes left of `bands`, and ps.right.
void mix_channels(PsSynthesis& ps, QmfMatrix& bands) {
  mix_split_band(0, 6, 0, ps, bands);
  mix_split_band(6, 8, 1, ps, bands);
  mix_split_band(8, kHybridBands, 2, ps, bands);
  for (int k = kHybridBands; k < kAllPassBands; ++k) mix_all_pass_band(k, ps, bands);
  for (int k = kAllPassBands; k < kSubBands; ++k) mix_delayed_band(k, ps, bands);
}

}  // namespace
}  // namespace zdr::aacdec
