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

// One link over the frame, in place: y = rotated w[-d] - gain x, w[0] = x + gain y.
template <int kLink>
inline void all_pass_link(int lane, AllPassState& state, ComplexLanes* x) {
  constexpr int kDelay = kLinkDelay[kLink];
  const auto re = state.link_re + kLinkStart[kLink];
  const auto im = state.link_im + kLinkStart[kLink];
  ComplexLanes w[kDelay + kQmfSlots];
  load_delayed<kDelay>(re, im, lane, w);
  const PhaseLanes phase = phases_of(kLinkPhases[kLink], lane);
  const FactorLanes gain = lane_factors(load(kLinkGains[kLink].q30 + lane));
  const auto weighted = [&](Lanes v) { return narrowed(wide_product(v, gain), 30); };
  for (int t = 0; t < kQmfSlots; ++t) {
    const ComplexLanes rotated = product(w[t], phase);
    const ComplexLanes y{rotated.re - weighted(x[t].re), rotated.im - weighted(x[t].im)};
    w[t + kDelay] = {x[t].re + weighted(y.re), x[t].im + weighted(y.im)};
    x[t] = y;
  }
  store_delayed<kDelay>(w, lane, re, im);
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
    all_pass_link<0>(lane, state, x);
    all_pass_link<1>(lane, state, x);
    all_pass_link<2>(lane, state, x);
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
