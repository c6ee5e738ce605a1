// Transient detection of parametric stereo (ISO/IEC 14496-3, subpart 8), one parameter band per 64-bit lane.
// For kernel files only.
#pragma once

#include <cstdint>
#include <cstring>

#include "aacdec/fixed/float_lanes.h"
#include "aacdec/sbr/ps_state.h"

namespace zdr::aacdec {
namespace {

inline constexpr int kWideLanes = kRegisterLanes / 2;

template <class Vector>
[[gnu::always_inline]] inline void transpose(Vector (&r)[2]) {
  const Vector first = __builtin_shufflevector(r[0], r[1], 0, 2);
  r[1] = __builtin_shufflevector(r[0], r[1], 1, 3);
  r[0] = first;
}

template <class Vector>
[[gnu::always_inline]] inline void transpose(Vector (&r)[4]) {
  const Vector even[2] = {__builtin_shufflevector(r[0], r[1], 0, 4, 2, 6),
                          __builtin_shufflevector(r[2], r[3], 0, 4, 2, 6)};
  const Vector odd[2] = {__builtin_shufflevector(r[0], r[1], 1, 5, 3, 7),
                         __builtin_shufflevector(r[2], r[3], 1, 5, 3, 7)};
  r[0] = __builtin_shufflevector(even[0], even[1], 0, 1, 4, 5);
  r[1] = __builtin_shufflevector(odd[0], odd[1], 0, 1, 4, 5);
  r[2] = __builtin_shufflevector(even[0], even[1], 2, 3, 6, 7);
  r[3] = __builtin_shufflevector(odd[0], odd[1], 2, 3, 6, 7);
}

[[gnu::always_inline]] inline WideRegister load_wide(const uint64_t* from) {
  WideRegister v;
  std::memcpy(&v, from, sizeof v);
  return v;
}

[[gnu::always_inline]] inline void store_wide(uint64_t* to, WideRegister v) {
  std::memcpy(to, &v, sizeof v);
}

// All ones where v, as a signed number, is negative.
[[gnu::always_inline]] inline WideRegister negative_lanes(WideRegister v) {
#ifdef __SSE2__
  // Not all of these instruction sets compare or shift signed numbers of 64 bits.
  const auto signs = reinterpret_cast<Register>(reinterpret_cast<SignedRegister>(v) >> 31);
  return reinterpret_cast<WideRegister>(odd_lanes(signs));
#else
  using SignedWideRegister = int64_t __attribute__((vector_size(4 * kRegisterLanes)));
  return reinterpret_cast<WideRegister>(reinterpret_cast<SignedWideRegister>(v) < 0);
#endif
}

// The detectors of kWideLanes bands. Energies are below 2^62, so that differences have a sign.
struct DetectorLanes {
  WideRegister peak, smooth, difference;

  [[gnu::always_inline]] void follow(WideRegister energy) {
    const WideRegister decay_q32 = WideRegister{} + 3289637165;  // 0.76592833836465
    const WideRegister decayed =
        unsigned_product(peak >> 32, decay_q32) + (unsigned_product(peak, decay_q32) >> 32);
    const WideRegister excess = decayed - energy;
    const WideRegister excess_of_peak = excess & ~negative_lanes(excess);
    peak = energy + excess_of_peak;
    smooth = (smooth + smooth + smooth + energy) >> 2;
    difference = (difference + difference + difference + excess_of_peak) >> 2;
  }
  [[gnu::always_inline]] WideRegister threshold() const { return difference + (difference >> 1); }
};

[[gnu::always_inline]] inline WideRegister copy_mask(const PsSynthesisState& ps, int band) {
  WideRegister mask;
  for (int i = 0; i < kWideLanes; ++i) mask[i] = ps.mixes_copy[band + i] ? ~uint64_t{0} : 0;
  return mask;
}

// Stores the lanes of the mask. Returns their number.
[[gnu::always_inline]] inline int put_transients(const DetectorLanes& lanes, WideRegister mask, int band,
                                                 int slot, Transient* found) {
  const WideRegister threshold = lanes.threshold();
  int count = 0;
  for (int i = 0; i < kWideLanes; ++i) {
    if (mask[i] != 0) found[count++] = {lanes.smooth[i], threshold[i], band + i, slot};
  }
  return count;
}

int find_transients(PsSynthesisState& ps, Transient* found) {
  static_assert(kPsBands % kWideLanes == 0 && kQmfSlots % kWideLanes == 0);
  int count = 0;
  TransientDetectors& detectors = ps.memory.detectors;
  for (int band = 0; band < kPsBands; band += kWideLanes) {
    DetectorLanes lanes{load_wide(detectors.peak + band), load_wide(detectors.smooth + band),
                        load_wide(detectors.difference + band)};
    const WideRegister wanted = copy_mask(ps, band);
    for (int first = 0; first < kQmfSlots; first += kWideLanes) {
      WideRegister energies[kWideLanes];
      for (int i = 0; i < kWideLanes; ++i) energies[i] = load_wide(ps.energy[band + i] + first);
      transpose(energies);
      for (int slot = 0; slot < kWideLanes; ++slot) {
        lanes.follow(energies[slot]);
        const WideRegister is_transient = negative_lanes(lanes.smooth - lanes.threshold()) & wanted;
        if (!any(reinterpret_cast<Register>(is_transient))) continue;
        count += put_transients(lanes, is_transient, band, first + slot, found + count);
      }
    }
    store_wide(detectors.peak + band, lanes.peak);
    store_wide(detectors.smooth + band, lanes.smooth);
    store_wide(detectors.difference + band, lanes.difference);
  }
  return count;
}

}  // namespace
}  // namespace zdr::aacdec
