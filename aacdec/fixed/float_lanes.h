// Eight single-precision numbers at a time, for estimates of integer results. Their rounding differs between
// instruction sets, so nothing may depend on more than their error bounds. For kernel files only.
#pragma once

#include "aacdec/fixed/fixed_lanes.h"

namespace zdr::aacdec {
namespace {

using FloatRegister = float __attribute__((vector_size(4 * kRegisterLanes)));
#ifdef __AVX2__
using FloatLanes = FloatRegister;
#else
using FloatLanes = Pair<FloatRegister>;
#endif

[[gnu::always_inline]] inline FloatRegister in_all_lanes(float v) {
  return v - FloatRegister{};  // a sum would change -0
}

// Whether multiply_add() may round the product before it adds.
#if defined(__FMA__) || defined(__aarch64__)
inline constexpr bool kRoundsProducts = false;
#else
inline constexpr bool kRoundsProducts = true;
#endif

// a * b + c, rounded once or twice.
[[gnu::always_inline]] inline FloatRegister multiply_add(FloatRegister a, FloatRegister b, FloatRegister c) {
#if defined(__FMA__)
  return reinterpret_cast<FloatRegister>(
      _mm256_fmadd_ps(reinterpret_cast<__m256>(a), reinterpret_cast<__m256>(b), reinterpret_cast<__m256>(c)));
#elif defined(__aarch64__)
  return reinterpret_cast<FloatRegister>(vfmaq_f32(
      reinterpret_cast<float32x4_t>(c), reinterpret_cast<float32x4_t>(a), reinterpret_cast<float32x4_t>(b)));
#else
  return a * b + c;
#endif
}

[[gnu::always_inline]] inline FloatLanes load(const float* from) {
  return each([](Register x) { return reinterpret_cast<FloatRegister>(x); },
              load(reinterpret_cast<const int32_t*>(from)));
}

[[gnu::always_inline]] inline void store(float* to, FloatLanes v) {
  store(reinterpret_cast<int32_t*>(to),
        each([](FloatRegister x) { return reinterpret_cast<Register>(x); }, v));
}

[[gnu::always_inline]] inline FloatLanes floating(Lanes v) {
  return each(
      [](Register x) { return __builtin_convertvector(reinterpret_cast<SignedRegister>(x), FloatRegister); },
      v);
}

[[gnu::always_inline]] inline FloatRegister absolute(FloatRegister v) {
  return reinterpret_cast<FloatRegister>(reinterpret_cast<Register>(v) & 0x7FFFFFFFU);
}

[[gnu::always_inline]] inline FloatLanes larger(FloatLanes a, FloatLanes b) {
  return each([](FloatRegister x, FloatRegister y) { return x > y ? x : y; }, a, b);
}

// The largest lane.
inline float largest(const FloatLanes& v) {
  float lanes[kLanes];
  std::memcpy(lanes, &v, sizeof v);
  float most = lanes[0];
  for (const float lane : lanes) most = lane > most ? lane : most;
  return most;
}

// Whether a lane of the mask is all ones; the others are 0. For loops: cheaper than any_bits().
[[gnu::always_inline]] inline bool any(Register mask) {
#if defined(__AVX2__)
  return _mm256_movemask_ps(reinterpret_cast<__m256>(mask)) != 0;
#elif defined(__SSE2__)
  return _mm_movemask_ps(reinterpret_cast<__m128>(mask)) != 0;
#elif defined(__aarch64__)
  return vmaxvq_u32(reinterpret_cast<uint32x4_t>(mask)) != 0;
#else
  const auto pairs = reinterpret_cast<WideRegister>(mask);
  return (pairs[0] | pairs[1]) != 0;
#endif
}

#ifndef __AVX2__
[[gnu::always_inline]] inline bool any(Lanes mask) {
  return any(mask.low | mask.high);
}
#endif

}  // namespace
}  // namespace zdr::aacdec
