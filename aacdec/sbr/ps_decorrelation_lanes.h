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

// The factors of eight sub-bands.
struct AllPassFactors {
  ComplexLanes delay;
  ComplexLanes link[kAllPassLinks];
  Lanes gain[kAllPassLinks];
};

// One link: y = rotated w[-d] - gain x, w[0] = x + gain y.
[[gnu::always_inline]] inline ComplexLanes all_pass_link(ComplexLanes x, ComplexLanes& delayed,
                                                         ComplexLanes phase, Lanes gain) {
  const ComplexLanes rotated = product(delayed, phase);
  const ComplexLanes y{rotated.re - narrowed(wide_product(x.re, gain), 30),
                       rotated.im - narrowed(wide_product(x.im, gain), 30)};
  delayed = {x.re + narrowed(wide_product(y.re, gain), 30), x.im + narrowed(wide_product(y.im, gain), 30)};
  return y;
}

// Delayed values of eight sub-bands, as rings whose first entry belongs to slot 0 of the frame.
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
  // Rotates the rings so that the first entries belong to slot 0 of the next frame.
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

// Processes eight slots of eight sub-bands in place; re[t] and im[t] are slots, one lane per sub-band.
inline void all_pass_block(const AllPassFactors& factors, int first_slot, AllPassRings& rings,
                           Lanes (&re)[kLanes], Lanes (&im)[kLanes]) {
  for (int t = 0; t < kLanes; ++t) {
    const int slot = first_slot + t;
    ComplexLanes& oldest = rings.input[slot % AllPassState::kInputSlots];
    ComplexLanes x = product(oldest, factors.delay);
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
void decorrelate(const QmfMatrix& bands, PsSynthesisState& ps) {
  static_assert(kQmfSlots % AllPassState::kInputSlots == 0);
  for (int lane = 0; lane < kAllPassLanes; lane += kLanes) {
    const AllPassFactors factors = all_pass_factors(lane);
    AllPassRings rings;
    rings.load_from(ps.memory.all_pass, lane);
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

}  // namespace
}  // namespace zdr::aacdec
