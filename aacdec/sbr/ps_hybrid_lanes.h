// Hybrid analysis of parametric stereo (ISO/IEC 14496-3, subpart 8) and the energies of its sub-bands, eight
// slots at a time. For kernel files only.
#pragma once

#include <cstdint>
#include <cstring>

#include "aacdec/fixed/wide_lanes.h"
#include "aacdec/sbr/ps_state.h"
#include "aacdec/tables/ps_constants.h"

namespace zdr::aacdec {
namespace {

// Scales the slots of all bands to kPsScaleBits and limits them to 2^27.
inline void limit_samples(QmfMatrix& bands, int band_end) {
  constexpr int32_t kLimit = 1 << 27;
  for (int band = 0; band < band_end; ++band) {
    // Includes the slots after the frame.
    for (int s = kLeadSlots; s < kRowSlots; s += kLanes) {
      for (int32_t* row : {bands.re[band] + s, bands.im[band] + s}) {
        store(row, clamped(shift_right_rounded(load(row), kSampleScaleBits - kPsScaleBits), -kLimit, kLimit));
      }
    }
  }
}

inline constexpr int kHybridColumn = 8;

// One split band: the last slots of the previous frame, the slots of this frame, and the slots after it.
struct HybridInput {
  int32_t re[kRowStride];
  int32_t im[kRowStride];

  [[gnu::always_inline]] inline ComplexLanes at(int slot) const {
    return {load(re + kHybridColumn + slot), load(im + kHybridColumn + slot)};
  }
};

inline void load_hybrid_input(const QmfMatrix& bands, int band, PsSynthesisState& ps, HybridInput& in) {
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

// Band 0 is split into eight channels. Channels q and 7 - q have conjugate filters: they differ in the sign
// of `odd`.
inline void split_in_eight(const HybridInput& in, int slot, int q, WideComplex& even, WideComplex& odd) {
  const ComplexLanes centre = in.at(slot);
  even = WideComplex{widened(centre.re, 27), widened(centre.im, 27)};
  odd = WideComplex{};
  for (int t = 1; t <= kHybridDelay; ++t) {
    const ComplexLanes sum = in.at(slot - t) + in.at(slot + t);
    const ComplexLanes difference = in.at(slot - t) - in.at(slot + t);
    const Factor tap_re = factor(kHybridTaps.tap[q][t - 1].re);
    const Factor tap_im = factor(kHybridTaps.tap[q][t - 1].im);
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
    // The sum of both channels.
    store_row(out[4], slot, narrowed30({even[2].re + even[2].re, even[2].im + even[2].im}));
    store_row(out[5], slot, narrowed30({even[3].re + even[3].re, even[3].im + even[3].im}));
  }
}

// In band 2 the lower channel is the sum; in band 1, whose frequencies run downwards, it is the difference.
inline void split_in_two(const HybridInput& in, ComplexRow& sum_row, ComplexRow& difference_row) {
  for (int slot = 0; slot < kQmfSlots; slot += kLanes) {
    const ComplexLanes centre = in.at(slot);
    const WideComplex even{widened(centre.re, 29), widened(centre.im, 29)};
    WideComplex odd{};
    for (int i = 0; i < 3; ++i) {
      const ComplexLanes sum = in.at(slot - 2 * i - 1) + in.at(slot + 2 * i + 1);
      const Factor tap = factor(kHalfBandTapsQ30[i]);
      odd.re = odd.re + wide_product(sum.re, tap);
      odd.im = odd.im + wide_product(sum.im, tap);
    }
    store_row(sum_row, slot, narrowed30({even.re + odd.re, even.im + odd.im}));
    store_row(difference_row, slot, narrowed30({even.re - odd.re, even.im - odd.im}));
  }
}

// Fills ps.hybrid; the other sub-bands are rows of `bands`, limited in place.
void split_bands(QmfMatrix& bands, int band_end, PsSynthesisState& ps) {
  limit_samples(bands, band_end);
  HybridInput in;
  load_hybrid_input(bands, 0, ps, in);
  split_band_0(in, ps.hybrid);
  load_hybrid_input(bands, 1, ps, in);
  split_in_two(in, ps.hybrid[7], ps.hybrid[6]);
  load_hybrid_input(bands, 2, ps, in);
  split_in_two(in, ps.hybrid[8], ps.hybrid[9]);
}

struct SubBandRow {
  const int32_t* re;
  const int32_t* im;

  [[gnu::always_inline]] inline ComplexLanes at(int slot) const { return {load(re + slot), load(im + slot)}; }
};

inline SubBandRow sub_band_row(const QmfMatrix& bands, const PsSynthesisState& ps, int k) {
  if (k < kHybridBands) return {ps.hybrid[k].re, ps.hybrid[k].im};
  const int band = k - kHybridBands + kSplitBands;
  return {bands.re[band] + kLeadSlots, bands.im[band] + kLeadSlots};
}

// Fills ps.energy.
void measure_energies(const QmfMatrix& bands, int band_end, PsSynthesisState& ps) {
  std::memset(ps.energy, 0, sizeof ps.energy);
  for (int k = 0; k < band_end + kHybridBands - kSplitBands; ++k) {
    const SubBandRow row = sub_band_row(bands, ps, k);
    uint64_t* const energy = ps.energy[kPsBandOfSubBand[k]];
    for (int slot = 0; slot < kQmfSlots; slot += kLanes) {
      const ComplexLanes v = row.at(slot);
      add_to(energy + slot, wide_product(v.re, v.re) + wide_product(v.im, v.im));
    }
  }
}

}  // namespace
}  // namespace zdr::aacdec
