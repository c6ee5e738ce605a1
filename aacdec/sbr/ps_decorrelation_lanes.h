// Decorrelation of parametric stereo (ISO/IEC 14496-3, subpart 8), eight sub-bands at a time: a chain of
// three all-pass links for each of the lower sub-bands. For kernel files only.
#pragma once

#include "aacdec/fixed/wide_lanes.h"
#include "aacdec/sbr/ps_hybrid_lanes.h"
#include "aacdec/sbr/ps_state.h"
#include "aacdec/tables/ps_constants.h"

namespace zdr::aacdec {
namespace {

inline constexpr int kLinkDelay[kAllPassLinks] = {3, 4, 5};
inline constexpr int kLinkStart[kAllPassLinks] = {0, 3, 7};

using PhaseLanes = ComplexFactor<FactorLanes>;

inline PhaseLanes phases_of(const AllPassPhases& phases, int lane) {
  const Lanes re = load(phases.re_q30 + lane);
  const Lanes im = load(phases.im_q30 + lane);
  return {lane_factors(re), lane_factors(re + im), lane_factors(im - re)};
}

// Loads the slots of the delay, which precede those of the frame, and stores them for the next frame.
template <int kDelay>
[[gnu::always_inline]] inline void load_delayed(const int32_t (*re)[kAllPassLanes],
                                                const int32_t (*im)[kAllPassLanes], int lane,
                                                ComplexLanes* slots) {
  for (int i = 0; i < kDelay; ++i) slots[i] = {load(re[i] + lane), load(im[i] + lane)};
}

template <int kDelay>
[[gnu::always_inline]] inline void store_delayed(const ComplexLanes* slots, int lane,
                                                 int32_t (*re)[kAllPassLanes], int32_t (*im)[kAllPassLanes]) {
  for (int i = 0; i < kDelay; ++i) {
    store(re[i] + lane, slots[kQmfSlots + i].re);
    store(im[i] + lane, slots[kQmfSlots + i].im);
  }
}

// Delays the frame in place: slot t is at x[t + 2] before and at x[t] afterwards.
inline void delay_input(int lane, AllPassState& state, ComplexLanes* x) {
  constexpr int kDelay = AllPassState::kInputSlots;
  load_delayed<kDelay>(state.input_re, state.input_im, lane, x);
  store_delayed<kDelay>(x, lane, state.input_re, state.input_im);
  const PhaseLanes phase = phases_of(kDelayPhases, lane);
  for (int t = 0; t < kQmfSlots; ++t) x[t] = product(x[t], phase);
}

// Whether the gains of a link from this lane on are below 1/2. Then they have 32 bits after the point, and
// products need no shift to their place in the odd lanes.
constexpr bool gains_are_small(int link, int first_lane) {
  for (int lane = first_lane; lane < kAllPassLanes; ++lane) {
    if (kLinkGains[link].q30[lane] >= 1 << 29) return false;
  }
  return true;
}

// One link over the frame, in place: y = rotated w[-d] - gain x, w[0] = x + gain y.
template <int kLink, int kFirstLane>
inline void all_pass_link(int lane, AllPassState& state, ComplexLanes* x) {
  constexpr int kDelay = kLinkDelay[kLink];
  constexpr int kGainShift = gains_are_small(kLink, kFirstLane) ? 32 : 30;
  const auto re = state.link_re + kLinkStart[kLink];
  const auto im = state.link_im + kLinkStart[kLink];
  ComplexLanes w[kDelay + kQmfSlots];
  load_delayed<kDelay>(re, im, lane, w);
  const PhaseLanes phase = phases_of(kLinkPhases[kLink], lane);
  const FactorLanes gain = lane_factors(load(kLinkGains[kLink].q30 + lane) << (kGainShift - 30));
  const auto weighted = [&](Lanes v) { return narrowed(wide_product(v, gain), kGainShift); };
  // Two registers at a time, step by step: the steps of a slot wait for each other.
  constexpr int kTogether = 2 * kRegisterLanes / kLanes;  // slots
  static_assert(kDelay >= kTogether);
  for (int t = 0; t < kQmfSlots; t += kTogether) {
    ComplexLanes y[kTogether];
    for (int i = 0; i < kTogether; ++i) y[i] = product(w[t + i], phase);
    for (int i = 0; i < kTogether; ++i) {
      y[i] = {y[i].re - weighted(x[t + i].re), y[i].im - weighted(x[t + i].im)};
    }
    for (int i = 0; i < kTogether; ++i) {
      w[t + i + kDelay] = {x[t + i].re + weighted(y[i].re), x[t + i].im + weighted(y[i].im)};
      x[t + i] = y[i];
    }
  }
  store_delayed<kDelay>(w, lane, re, im);
}

// The three links over the frame, of lanes from kFirstLane on.
template <int kFirstLane>
inline void all_pass_chain(int lane, AllPassState& state, ComplexLanes* x) {
  all_pass_link<0, kFirstLane>(lane, state, x);
  all_pass_link<1, kFirstLane>(lane, state, x);
  all_pass_link<2, kFirstLane>(lane, state, x);
}

// Fills ps.decorrelated.
void decorrelate(const QmfMatrix& bands, PsSynthesisState& ps) {
  AllPassState& state = ps.memory.all_pass;
  for (int lane = 0; lane < kAllPassLanes; lane += kLanes) {
    ComplexLanes x[AllPassState::kInputSlots + kQmfSlots];
    for (int slot = 0; slot < kQmfSlots; slot += kLanes) {
      Lanes re[kLanes];
      Lanes im[kLanes];
      for (int i = 0; i < kLanes; ++i) {
        // The last two lanes hold sub-bands without an all-pass chain; their results are discarded.
        const ComplexLanes v = sub_band_row(bands, ps, lane + i).at(slot);
        re[i] = v.re;
        im[i] = v.im;
      }
      transpose(re);
      transpose(im);
      for (int t = 0; t < kLanes; ++t) x[AllPassState::kInputSlots + slot + t] = {re[t], im[t]};
    }
    delay_input(lane, state, x);
    // The gains of the upper half are small.
    if (lane < kAllPassLanes / 2) {
      all_pass_chain<0>(lane, state, x);
    } else {
      all_pass_chain<kAllPassLanes / 2>(lane, state, x);
    }
    for (int slot = 0; slot < kQmfSlots; slot += kLanes) {
      Lanes re[kLanes];
      Lanes im[kLanes];
      for (int t = 0; t < kLanes; ++t) {
        re[t] = x[slot + t].re;
        im[t] = x[slot + t].im;
      }
      transpose(re);
      transpose(im);
      for (int i = 0; i < kLanes && lane + i < kAllPassBands; ++i) {
        store_row(ps.decorrelated[lane + i], slot, {re[i], im[i]});
      }
    }
  }
}

}  // namespace
}  // namespace zdr::aacdec
