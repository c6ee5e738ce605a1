// Transient detection of parametric stereo (ISO/IEC 14496-3, subpart 8), one parameter band per 64-bit lane.
// For kernel files only.
#pragma once

#include <cstdint>
#include <cstring>

#include "aacdec/fixed/fixed_lanes.h"
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
  Lanes pair[4];
  for (int i = 0; i < 4; i += 2) {
    pair[i] = reinterpret_cast<Lanes>(interleaved<0>(r[i], r[i + 1]));
    pair[i + 1] = reinterpret_cast<Lanes>(interleaved<1>(r[i], r[i + 1]));
  }
  for (int i = 0; i < 2; ++i) {
    r[i] = reinterpret_cast<Vector>(lower_halves(pair[i], pair[i + 2]));
    r[i + 2] = reinterpret_cast<Vector>(upper_halves(pair[i], pair[i + 2]));
  }
}

[[gnu::always_inline]] inline WideRegister load_wide(const uint64_t* from) {
  WideRegister v;
  std::memcpy(&v, from, sizeof v);
  return v;
}

[[gnu::always_inline]] inline void store_wide(uint64_t* to, WideRegister v) {
  std::memcpy(to, &v, sizeof v);
}

// v, or 0 where v, as a signed number, is negative.
[[gnu::always_inline]] inline WideRegister not_negative(WideRegister v) {
#if defined(__AVX2__)
  const auto value = reinterpret_cast<__m256d>(v);
  return reinterpret_cast<WideRegister>(_mm256_blendv_pd(value, _mm256_setzero_pd(), value));
#elif defined(__SSE4_1__)
  const auto value = reinterpret_cast<__m128d>(v);
  return reinterpret_cast<WideRegister>(_mm_blendv_pd(value, _mm_setzero_pd(), value));
#elif defined(__SSE2__)
  // These instructions neither compare nor shift signed numbers of 64 bits.
  const auto signs = reinterpret_cast<Register>(reinterpret_cast<SignedRegister>(v) >> 31);
  return v & ~reinterpret_cast<WideRegister>(odd_lanes(signs));
#else
  using SignedWideRegister = int64_t __attribute__((vector_size(4 * kRegisterLanes)));
  return v & ~reinterpret_cast<WideRegister>(reinterpret_cast<SignedWideRegister>(v) < 0);
#endif
}

// Bit i is the sign of lane i.
[[gnu::always_inline]] inline uint32_t signs_of(WideRegister v) {
#if defined(__AVX2__)
  return static_cast<uint32_t>(_mm256_movemask_pd(reinterpret_cast<__m256d>(v)));
#elif defined(__SSE2__)
  return static_cast<uint32_t>(_mm_movemask_pd(reinterpret_cast<__m128d>(v)));
#else
  return static_cast<uint32_t>(v[0] >> 63 | v[1] >> 63 << 1);
#endif
}

// The detectors of kWideLanes bands. Energies are below 2^62, so that differences have a sign.
struct DetectorLanes {
  WideRegister peak, smooth, difference;

  [[gnu::always_inline]] void follow(WideRegister energy) {
    const WideRegister decay_q32 = WideRegister{} + 3289637165;  // 0.76592833836465
    const WideRegister decayed =
        unsigned_product(peak >> 32, decay_q32) + (unsigned_product(peak, decay_q32) >> 32);
    const WideRegister excess_of_peak = not_negative(decayed - energy);
    peak = energy + excess_of_peak;
    smooth = (smooth + smooth + smooth + energy) >> 2;
    difference = (difference + difference + difference + excess_of_peak) >> 2;
  }
  [[gnu::always_inline]] WideRegister threshold() const { return difference + (difference >> 1); }
};

void find_transients(PsSynthesisState& ps, Transients& found) {
  static_assert(kPsBands % kWideLanes == 0 && kQmfSlots % kWideLanes == 0);
  TransientDetectors& detectors = ps.memory.detectors;
  std::memset(found.bands, 0, sizeof found.bands);
  // Few slots of all bands at a time: a band is a chain of operations that wait for each other, so the
  // processor works on several.
  for (int first = 0; first < kQmfSlots; first += kWideLanes) {
    for (int band = 0; band < kPsBands; band += kWideLanes) {
      DetectorLanes lanes{load_wide(detectors.peak + band), load_wide(detectors.smooth + band),
                          load_wide(detectors.difference + band)};
      WideRegister energies[kWideLanes];
      for (int i = 0; i < kWideLanes; ++i) energies[i] = load_wide(ps.energy[band + i] + first);
      transpose(energies);
      for (int i = 0; i < kWideLanes; ++i) {
        lanes.follow(energies[i]);
        const WideRegister threshold = lanes.threshold();
        found.bands[first + i] |= signs_of(lanes.smooth - threshold) << band;
        store_wide(found.energy[first + i] + band, lanes.smooth);
        store_wide(found.threshold[first + i] + band, threshold);
      }
      store_wide(detectors.peak + band, lanes.peak);
      store_wide(detectors.smooth + band, lanes.smooth);
      store_wide(detectors.difference + band, lanes.difference);
    }
  }
}

}  // namespace
}  // namespace zdr::aacdec
