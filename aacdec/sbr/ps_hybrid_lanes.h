// Hybrid analysis of parametric stereo (ISO/IEC 14496-3, subpart 8) and the energies of its parameter bands,
// eight slots at a time. For kernel files only.
#pragma once

#include <cstdint>
#include <cstring>

#include "aacdec/fixed/wide_lanes.h"
#include "aacdec/sbr/ps_state.h"
#include "aacdec/tables/ps_constants.h"

namespace zdr::aacdec {
namespace {

// Scales eight slots to kPsScaleBits and limits them to 2^27, in place. Returns them.
[[gnu::always_inline]] inline Lanes limit_samples(int32_t* slots) {
  constexpr int32_t kLimit = 1 << 27;
  const Lanes limited =
      clamped(shift_right_rounded(load(slots), kSampleScaleBits - kPsScaleBits), -kLimit, kLimit);
  store(slots, limited);
  return limited;
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

// The centre of a filter and the samples at equal distances before and after it.
struct HybridPairs {
  WideComplex centre;  // 1/8 of it, Q30
  ComplexLanes sum[kHybridDelay];
  ComplexLanes difference[kHybridDelay];

  HybridPairs(const HybridInput& in, int slot)
      : centre{widened(in.at(slot).re, 27), widened(in.at(slot).im, 27)} {
    for (int i = 0; i < kHybridDelay; ++i) {
      const ComplexLanes before = in.at(slot - 1 - i);
      const ComplexLanes after = in.at(slot + 1 + i);
      sum[i] = before + after;
      difference[i] = before - after;
    }
  }
};

// Band 0 is split into eight channels. Channels q and 7 - q have conjugate filters: they are the sum and the
// difference of an even and an odd part.
inline WideComplex even_part(const HybridPairs& in, int q) {
  WideComplex part = in.centre;
  for (int i = 0; i < kHybridDelay; ++i) {
    const Factor tap = factor(kHybridTaps.tap[q][i].re);
    part.re = part.re + wide_product(in.sum[i].re, tap);
    part.im = part.im + wide_product(in.sum[i].im, tap);
  }
  return part;
}

inline WideComplex odd_part(const HybridPairs& in, int q) {
  WideComplex part{};
  for (int i = 0; i < kHybridDelay; ++i) {
    const Factor tap = factor(kHybridTaps.tap[q][i].im);
    part.re = part.re - wide_product(in.difference[i].im, tap);
    part.im = part.im + wide_product(in.difference[i].re, tap);
  }
  return part;
}

inline void split_band_0(const HybridInput& in, ComplexRow* out) {
  for (int slot = 0; slot < kQmfSlots; slot += kLanes) {
    const HybridPairs pairs(in, slot);
    for (int q = 0; q < 2; ++q) {
      const WideComplex even = even_part(pairs, q);
      const WideComplex odd = odd_part(pairs, q);
      store_row(out[1 - q], slot, narrowed30({even.re - odd.re, even.im - odd.im}));
      store_row(out[2 + q], slot, narrowed30({even.re + odd.re, even.im + odd.im}));
    }
    for (int q = 2; q < 4; ++q) {
      // The sum of both channels.
      const WideComplex even = even_part(pairs, q);
      store_row(out[2 + q], slot, narrowed30({even.re + even.re, even.im + even.im}));
    }
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

// Fills ps.hybrid.
inline void split_lowest_bands(QmfMatrix& bands, PsSynthesisState& ps) {
  for (int band = 0; band < kSplitBands; ++band) {
    // Includes the slots after the frame.
    for (int s = kLeadSlots; s < kRowSlots; s += kLanes) {
      limit_samples(bands.re[band] + s);
      limit_samples(bands.im[band] + s);
    }
  }
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

// The sub-bands of a parameter band, `step` apart.
struct SubBands {
  int first = 0;
  int count = 0;
  int step = 1;
};

struct SubBandTable {
  SubBands of_band[kPsBands];
};

inline constexpr SubBandTable kSubBandTable = [] {
  SubBandTable table;
  for (int k = kSubBands - 1; k >= 0; --k) {
    SubBands& sub_bands = table.of_band[kPsBandOfSubBand[k]];
    if (sub_bands.count > 0) sub_bands.step = sub_bands.first - k;
    sub_bands.first = k;
    ++sub_bands.count;
  }
  return table;
}();

[[gnu::always_inline]] inline WideLanes energies_of(ComplexLanes v) {
  return wide_product(v.re, v.re) + wide_product(v.im, v.im);
}

inline constexpr int kSplitPsBands = 8;  // parameter bands of the sub-bands in ps.hybrid
static_assert(kPsBandOfSubBand[kHybridBands] == kSplitPsBands);

// Fills their rows of ps.energy.
inline void measure_split_bands(PsSynthesisState& ps) {
  for (int band = 0; band < kSplitPsBands; ++band) {
    const SubBands& sub_bands = kSubBandTable.of_band[band];
    for (int slot = 0; slot < kQmfSlots; slot += kLanes) {
      WideLanes sum{};
      for (int i = 0; i < sub_bands.count; ++i) {
        const ComplexRow& row = ps.hybrid[sub_bands.first + i * sub_bands.step];
        sum = sum + energies_of({load(row.re + slot), load(row.im + slot)});
      }
      store(ps.energy[band] + slot, sum);
    }
  }
}

// Limits the samples of the other bands in place and fills the rest of ps.energy.
inline void limit_and_measure(QmfMatrix& bands, int band_end, PsSynthesisState& ps) {
  for (int band = kSplitPsBands; band < kPsBands; ++band) {
    const SubBands& sub_bands = kSubBandTable.of_band[band];
    const int first = sub_bands.first - kHybridBands + kSplitBands;
    const int end = first + sub_bands.count < band_end ? first + sub_bands.count : band_end;
    for (int slot = 0; slot < kQmfSlots; slot += kLanes) {
      WideLanes sum{};
      for (int row = first; row < end; ++row) {
        sum = sum + energies_of({limit_samples(bands.re[row] + kLeadSlots + slot),
                                 limit_samples(bands.im[row] + kLeadSlots + slot)});
      }
      store(ps.energy[band] + slot, sum);
    }
  }
}

// Fills ps.hybrid and ps.energy; the sub-bands that are not in ps.hybrid are rows of `bands`, limited in
// place.
void split_bands(QmfMatrix& bands, int band_end, PsSynthesisState& ps) {
  split_lowest_bands(bands, ps);
  measure_split_bands(ps);
  limit_and_measure(bands, band_end, ps);
}

}  // namespace
}  // namespace zdr::aacdec
