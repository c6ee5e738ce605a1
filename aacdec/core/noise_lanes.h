// The inner loops of noise substitution, eight lines at a time. For kernel files only.
#pragma once

#include <cstdint>

#include "aacdec/core/core_kernels.h"
#include "aacdec/fixed/bounded_products.h"
#include "aacdec/fixed/fixed_lanes.h"

namespace zdr::aacdec {
namespace {

// The low bits of a linear congruential generator have short periods, so only the high half is used.
constexpr uint32_t kNoiseFactor = 1664525;
constexpr uint32_t kNoiseTerm = 1013904223;

// `count` steps of the noise generator at once: state * factor + term.
struct NoiseJump {
  uint32_t factor, term;
};

constexpr NoiseJump noise_jump(int count) {
  NoiseJump jump = {1, 0};
  for (int i = 0; i < count; ++i) {
    jump = {jump.factor * kNoiseFactor, jump.term * kNoiseFactor + kNoiseTerm};
  }
  return jump;
}

template <int kSteps>
[[gnu::always_inline]] inline Lanes advanced(Lanes states) {
  constexpr uint32_t kFactor = noise_jump(kSteps).factor;
  constexpr uint32_t kTerm = noise_jump(kSteps).term;
  return each([](Register x) { return x * kFactor + kTerm; }, states);
}

// The kLanes states after `state`.
[[gnu::always_inline]] inline Lanes next_states(uint32_t state) {
  struct JumpLanes {
    int32_t factors[kLanes], terms[kLanes];
  };
  static constexpr JumpLanes kJumps = [] {
    JumpLanes jumps = {};
    for (int i = 0; i < kLanes; ++i) {
      const NoiseJump jump = noise_jump(i + 1);
      jumps.factors[i] = static_cast<int32_t>(jump.factor);
      jumps.terms[i] = static_cast<int32_t>(jump.term);
    }
    return jumps;
  }();
  return each([state](Register factor, Register term) { return factor * state + term; }, load(kJumps.factors),
              load(kJumps.terms));
}

// The squares of the noise of these states.
[[gnu::always_inline]] inline WideLanes noise_squares(Lanes states) {
  return each(
      [](Register x) {
        const Register noise = x >> 16;
        return zero_extended(pair_product(noise, noise));
      },
      states);
}

uint64_t draw_noise(uint32_t& state, int32_t* out, int count) {
  // Two vectors of states that don't wait for each other.
  Lanes states = next_states(state);
  Lanes following = advanced<kLanes>(states);
  WideLanes squares = {};
  int i = 0;
  for (; i + 2 * kLanes <= count; i += 2 * kLanes) {
    store(out + i, shift_right(states, 16));
    store(out + i + kLanes, shift_right(following, 16));
    squares = squares + noise_squares(states) + noise_squares(following);
    state = lane(following, kLanes - 1);
    states = advanced<2 * kLanes>(states);
    following = advanced<2 * kLanes>(following);
  }
  if (i + kLanes <= count) {
    store(out + i, shift_right(states, 16));
    squares = squares + noise_squares(states);
    state = lane(states, kLanes - 1);
    states = following;
    i += kLanes;
  }
  if (i < count) {
    store_half(out + i, shift_right(states, 16));
    squares = squares + noise_squares(lower_halves(states, Lanes{}));
    state = lane(states, kLanes / 2 - 1);
  }
  return total(squares);
}

// a * doubled / 2^16, rounded down, for `a` up to 2^15. `doubled` is twice a factor below 2^31: the result is
// that of mul_q31(a << 16, factor).
[[gnu::always_inline]] inline Register noise_product(Register a, uint32_t doubled) {
#ifdef __SSE2__
  // Both words of a lane are `a`: one instruction multiplies it by both words of the factor.
  const Register upper = upper_word_products(a | a << 16, Register{} + doubled);
  return upper + lower_word_products(a, Register{} + (doubled >> 16));
#else
  return a * (doubled >> 16) + (a * (doubled & 0xFFFF) >> 16);
#endif
}

template <bool kHasFactor>
[[gnu::always_inline]] inline Lanes scaled_noise(Lanes v, const NoiseScale& by) {
  const auto scaled = [by](Register x) {
    const Register product = noise_product(absolute(x), static_cast<uint32_t>(by.root) << 1) >> by.shift;
    if constexpr (!kHasFactor) return with_register_sign(product, x);
    return with_register_sign(
        bounded_product_q31(product, Register{} + static_cast<uint32_t>(by.prepared_factor)), x);
  };
  return each(scaled, v);
}

template <bool kHasFactor>
[[gnu::always_inline]] inline void scale_noise(const NoiseScale& by, int32_t* lines, int count) {
  int i = 0;
  for (; i + kLanes <= count; i += kLanes) store(lines + i, scaled_noise<kHasFactor>(load(lines + i), by));
  if (i < count) store_half(lines + i, scaled_noise<kHasFactor>(load_half(lines + i), by));
}

void scale_noise(const NoiseScale& by, int32_t* lines, int count) {
  if (by.prepared_factor != 0) return scale_noise<true>(by, lines, count);
  scale_noise<false>(by, lines, count);
}

}  // namespace
}  // namespace zdr::aacdec
