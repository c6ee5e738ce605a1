// The steps of the HF adjustment that treat every band alike (ISO/IEC 14496-3, 4.6.18.7), one register of
// bands at a time. For kernel files only.
#pragma once

#include "aacdec/fixed/magnitude_lanes.h"
#include "aacdec/sbr/sbr_levels.h"

namespace zdr::aacdec {
namespace {

static_assert(kMagnitudeBlock % kRegisterLanes == 0);

[[gnu::always_inline]] inline MagnitudeLanes load(const MagnitudeRow& row, int band) {
  MagnitudeLanes v;
  std::memcpy(&v.mantissa, row.mantissa + band, sizeof v.mantissa);
  std::memcpy(&v.exponent, row.exponent + band, sizeof v.exponent);
  return v;
}

[[gnu::always_inline]] inline void store(MagnitudeRow& row, int band, const MagnitudeLanes& v) {
  std::memcpy(row.mantissa + band, &v.mantissa, sizeof v.mantissa);
  std::memcpy(row.exponent + band, &v.exponent, sizeof v.exponent);
}

[[gnu::always_inline]] inline MagnitudeLanes in_all_lanes(Magnitude v) {
  return {Register{} + v.mantissa, SignedRegister{} + v.exponent};
}

void divide_q28(const MagnitudeRow& numerators, const MagnitudeRow& denominators, int count,
                int32_t* quotients) {
  for (int i = 0; i < whole_blocks(count); i += kRegisterLanes) {
    const MagnitudeLanes quotient = load(numerators, i) / load(denominators, i);
    // Shifts below 1 give undefined values, which are replaced: such quotients are 8 and more.
    const SignedRegister shift = -28 - quotient.exponent;
    const Register upper = shift_right_by(quotient.mantissa, shift);
    const Register value = upper + (shift_right_by(quotient.mantissa, shift - 1) & 1);
    const auto is_large = reinterpret_cast<Register>((shift < 1) & (quotient.mantissa != 0)) |
                          reinterpret_cast<Register>(reinterpret_cast<SignedRegister>(value) >> 31);
    const Register result = select(is_large, Register{} + 0x7FFFFFFF, value);
    std::memcpy(quotients + i, &result, sizeof result);
  }
}

void divide_levels(MagnitudeRow& row, int count, Magnitude divisor) {
  for (int i = 0; i < whole_blocks(count); i += kRegisterLanes) {
    store(row, i, load(row, i) / in_all_lanes(divisor));
  }
}

void weigh_levels(SbrLevels& levels, int count) {
  for (int i = 0; i < whole_blocks(count); i += kRegisterLanes) {
    const MagnitudeLanes target = load(levels.target, i);
    store(levels.noise, i, target * load(levels.noise_part, i));
    store(levels.gain, i, target * load(levels.signal_part, i) / one_plus(load(levels.present, i)));
  }
}

void limit_levels(SbrLevels& levels, int count) {
  for (int i = 0; i < whole_blocks(count); i += kRegisterLanes) {
    const MagnitudeLanes limit = load(levels.factor, i);
    const MagnitudeLanes noise = load(levels.noise, i);
    MagnitudeLanes gain = load(levels.gain, i);
    const Register is_limited = is_less(limit, gain);
    store(levels.noise, i, select(is_limited, noise * limit / gain, noise));
    gain = select(is_limited, limit, gain);
    store(levels.gain, i, gain);
    store(levels.present, i, load(levels.present, i) * gain);
  }
}

void finish_levels(SbrLevels& levels, int count) {
  for (int i = 0; i < whole_blocks(count); i += kRegisterLanes) {
    const MagnitudeLanes boost = load(levels.factor, i);
    store(levels.gain, i, square_root(load(levels.gain, i) * boost));
    store(levels.noise, i, square_root(load(levels.noise, i) * boost));
    if (levels.sine_count > 0) store(levels.sine, i, square_root(load(levels.sine, i) * boost));
  }
}

// Levels times 2^exponent as factors for samples, by the rule of factor_of() in sbr_hf_mixing.cpp: mantissa /
// 2^shift, with mantissas of 31 bits. Factors of 2^30 and more come out too small; MixFactors excludes them.
struct SampleFactors {
  Register mantissa;
  SignedRegister shift;  // 1 to 62
};

[[gnu::always_inline]] inline SampleFactors sample_factors(const MagnitudeLanes& v, SignedRegister exponent) {
  const SignedRegister least = SignedRegister{} + 1;
  const SignedRegister shift = -1 - exponent - v.exponent;
  const auto is_zero = reinterpret_cast<Register>((v.mantissa == 0) | (shift > 62));
  const SignedRegister bounded = shift > least ? shift : least;
  return {v.mantissa >> 1 & ~is_zero,
          reinterpret_cast<SignedRegister>(
              select(is_zero, reinterpret_cast<Register>(least), reinterpret_cast<Register>(bounded)))};
}

// The factors of one envelope by band.
struct MixFactors {
  int32_t gain[kQmfBands], gain_shift[kQmfBands];
  int32_t noise[kQmfBands], noise_shift[kQmfBands];
  int32_t is_plain[kQmfBands];  // 0: has a sinusoid, no noise, or products that may exceed 2^kPartBits
};

inline void compute_factors(const SbrLevels& levels, int count, MixFactors& factors) {
  for (int i = 0; i < whole_blocks(count); i += kRegisterLanes) {
    SignedRegister exponent;
    SignedRegister bits;
    std::memcpy(&exponent, levels.exponent + i, sizeof exponent);
    std::memcpy(&bits, levels.bits + i, sizeof bits);
    const SampleFactors gain = sample_factors(load(levels.gain, i), exponent);
    const SampleFactors noise =
        sample_factors(load(levels.noise, i), SignedRegister{} + kSampleScaleBits - 31);
    const SignedRegister fits =
        ((gain.mantissa == 0) | (gain.shift >= bits + (31 - kPartBits))) & (noise.shift >= 62 - kPartBits);
    const SignedRegister is_plain = fits & (noise.mantissa != 0) & (load(levels.sine, i).mantissa == 0);
    std::memcpy(factors.gain + i, &gain.mantissa, sizeof gain.mantissa);
    std::memcpy(factors.gain_shift + i, &gain.shift, sizeof gain.shift);
    std::memcpy(factors.noise + i, &noise.mantissa, sizeof noise.mantissa);
    std::memcpy(factors.noise_shift + i, &noise.shift, sizeof noise.shift);
    std::memcpy(factors.is_plain + i, &is_plain, sizeof is_plain);
  }
}

}  // namespace
}  // namespace zdr::aacdec
