// Smooths the gains over time and mixes band by band.
#include "aacdec/sbr/sbr_hf_mixing.h"

#include <algorithm>
#include <bit>

#include "aacdec/sbr/sbr_kernels.h"
#include "aacdec/tables/sbr_noise.h"

namespace zdr::aacdec {
namespace {

constexpr int kSmoothed = SbrChannelState::kSmoothedSlots;

// Weights of this slot's value and of the four before it.
constexpr Magnitude kSmoothing[kSmoothed + 1] = {
    magnitude_of(0.33333333333333), magnitude_of(0.30150283239582), magnitude_of(0.21816949906249),
    magnitude_of(0.11516383427084), magnitude_of(0.03183050093751)};

constexpr int64_t kPartLimit = int64_t{1} << kPartBits;

// A factor for samples below 2^bits, bits <= 32: (sample * mantissa) >> shift.
struct Factor {
  int64_t mantissa = 0;
  int shift = 1;
  bool in_range = true;  // no product exceeds kPartLimit

  int32_t apply_limited(int32_t sample) const {
    const int64_t product = (sample * mantissa + (int64_t{1} << (shift - 1))) >> shift;
    return static_cast<int32_t>(std::clamp(product, -kPartLimit, kPartLimit));
  }
};

// value * 2^exponent, for samples below 2^bits.
Factor factor_of(Magnitude value, int exponent, int bits) {
  // The mantissa has 31 bits. A factor of 2^30 and more exceeds the limit with any sample.
  const int shift = std::max(-(value.exponent + 1 + exponent), 1);
  if (value.is_zero() || shift > 62) return {};
  return {value.mantissa >> 1, shift, bits + 31 - shift <= kPartBits};
}

// In units of kSampleScaleBits.
int32_t sine_amplitude(Magnitude value) {
  return factor_of(value, kSampleScaleBits - 28, 29).apply_limited(1 << 28);
}

// The last slots, in pairs: envelopes start and end at even slots.
using History = MagnitudeRow[kSmoothed / 2];

// The weighted sum of the values of slots `slot` - 4 to `slot` of the envelope. Slots before the envelope
// come from `history`.
Magnitude smoothed(const History& history, int band, Magnitude now, int slot) {
  Magnitude sum;
  for (int age = 0; age <= kSmoothed; ++age) {
    const Magnitude value = age <= slot ? now : history[(kSmoothed + slot - age) / 2][band];
    sum = sum + value * kSmoothing[age];
  }
  return sum;
}

// `slots` is even.
void push_history(History& history, const MagnitudeRow& now, int m, int slots) {
  static_assert(kSmoothed == 4);
  history[0].copy(slots == 2 ? history[1] : now, m);
  history[1].copy(now, m);
}

// Mixes one band. Samples are at kSampleScaleBits.
class BandMixer {
 public:
  BandMixer(const SbrKernels& kernels, QmfMatrix& bands, int row, int exponent, int bits)
      : kernels_(kernels),
        re_(bands.re[row] + kLeadSlots),
        im_(bands.im[row] + kLeadSlots),
        exponent_(exponent),
        bits_(bits) {}

  void scale(int first, int end, Magnitude gain) { scale_by(first, end, factor_of_gain(gain)); }

  void scale_and_add_noise(int first, int end, Magnitude gain, Magnitude noise, int index,
                           const NoiseTable& table) {
    const Factor by = factor_of_gain(gain);
    const Factor noise_by = factor_of(noise, kSampleScaleBits - 31, 31);
    if (!by.in_range || !noise_by.in_range || noise_by.mantissa == 0) {
      scale_by(first, end, by);
      add_noise(first, end, noise_by, index, table.step);
      return;
    }
    const NoiseMix mix{static_cast<int32_t>(noise_by.mantissa), noise_by.shift, index, table};
    kernels_.apply_gain_and_noise(re_ + first, im_ + first, end - first, static_cast<int32_t>(by.mantissa),
                                  by.shift, mix);
  }
  // The phase advances a quarter turn per slot, counterclockwise in even bands.
  void add_sine(int first, int end, int32_t amplitude, int phase, bool odd_band) {
    for (int s = first; s < end; ++s, ++phase) {
      const int32_t value = (phase & 2) != 0 ? -amplitude : amplitude;
      if ((phase & 1) == 0) {
        re_[s] += value;
      } else {
        im_[s] += odd_band ? -value : value;
      }
    }
  }

 private:
  Factor factor_of_gain(Magnitude gain) const { return factor_of(gain, exponent_, bits_); }
  void scale_by(int first, int end, const Factor& by) {
    if (by.in_range) {
      kernels_.apply_gain(re_ + first, im_ + first, end - first, static_cast<int32_t>(by.mantissa), by.shift);
      return;
    }
    for (int s = first; s < end; ++s) {
      re_[s] = by.apply_limited(re_[s]);
      im_[s] = by.apply_limited(im_[s]);
    }
  }
  void add_noise(int first, int end, const Factor& by, int index, int step) {
    for (int s = first; s < end; ++s, index += step) {
      const int32_t* const value = kSbrNoiseQ31[index & (kSbrNoiseLength - 1)];
      re_[s] += by.apply_limited(value[0]);
      im_[s] += by.apply_limited(value[1]);
    }
  }

  const SbrKernels& kernels_;
  int32_t* re_;
  int32_t* im_;
  int exponent_;  // as in SbrLevels
  int bits_;
};

struct Mix {
  const SbrBandTables& tables;
  const MixedSlots& slots;
  const SbrLevels& levels;
  const SbrChannelState& state;
};

// Mixes slots [first, end) of a band with constant gain and noise.
void mix_part(const Mix& mix, BandMixer& mixer, int band, int first, int end, Magnitude gain,
              Magnitude noise) {
  if (mix.slots.transient || !mix.levels.sine.is_zero(band) || noise.is_zero()) {
    mixer.scale(first, end, gain);
    return;
  }
  const int index = mix.state.noise_index + (first - mix.slots.first) * mix.tables.m + band + 1;
  mixer.scale_and_add_noise(first, end, gain, noise, index, mix.levels.noise_table);
}

// With smoothing, each slot within reach of the history has its own values; those of later slots are
// constant.
void mix_band(const Mix& mix, BandMixer& mixer, int band) {
  const MixedSlots& slots = mix.slots;
  const Magnitude gain = mix.levels.gain[band];
  const Magnitude noise = mix.levels.noise[band];
  if (!slots.smooth || slots.transient) {
    mix_part(mix, mixer, band, slots.first, slots.end, gain, noise);
    return;
  }
  const int steady = std::min(slots.first + kSmoothed, slots.end);
  for (int s = slots.first; s < steady; ++s) {
    const int slot = s - slots.first;
    mix_part(mix, mixer, band, s, s + 1, smoothed(mix.state.gain_history, band, gain, slot),
             smoothed(mix.state.noise_history, band, noise, slot));
  }
  if (steady == slots.end) return;
  mix_part(mix, mixer, band, steady, slots.end, smoothed(mix.state.gain_history, band, gain, kSmoothed),
           smoothed(mix.state.noise_history, band, noise, kSmoothed));
}

}  // namespace

void NoiseTable::arrange(int new_step) {
  if (step == new_step) return;
  step = new_step;
  const int cycles = step & -step;  // the largest power of two that divides it
  const int length = kSbrNoiseLength / cycles;
  int at = 0;
  for (int first = 0; first < cycles; ++first) {
    for (int i = 0; i < length + kRepeated; ++i, ++at) {
      const int index = (first + i * step) & (kSbrNoiseLength - 1);
      if (i < length) place[index] = static_cast<uint16_t>(at);
      re[at] = kSbrNoiseQ31[index][0];
      im[at] = kSbrNoiseQ31[index][1];
    }
  }
}

void mix_high_bands(const SbrBandTables& tables, const MixedSlots& slots, const SbrLevels& levels,
                    SbrChannelState& state, QmfMatrix& bands) {
  const int count = slots.end - slots.first;
  if (!state.has_gain_history) {
    push_history(state.gain_history, levels.gain, tables.m, kSmoothed);
    push_history(state.noise_history, levels.noise, tables.m, kSmoothed);
    state.has_gain_history = true;
  }
  const SbrKernels& kernels = sbr_kernels();
  const Mix mix{tables, slots, levels, state};
  // There are at most kMaxSbrBands.
  uint64_t rest = (uint64_t{1} << tables.m) - 1;
  if (!slots.transient && !slots.smooth) {
    rest = kernels.mix_rows(bands, tables.kx, levels, tables.m, kLeadSlots + slots.first,
                            kLeadSlots + slots.end, state.noise_index + 1);
  }
  for (; rest != 0; rest &= rest - 1) {
    const int band = std::countr_zero(rest);
    const int row = tables.kx + band;
    BandMixer mixer(kernels, bands, row, levels.exponent[band], levels.bits[band]);
    mix_band(mix, mixer, band);
    if (levels.sine.is_zero(band)) continue;
    mixer.add_sine(slots.first, slots.end, sine_amplitude(levels.sine[band]), state.sine_phase, row % 2 != 0);
  }
  push_history(state.gain_history, levels.gain, tables.m, count);
  push_history(state.noise_history, levels.noise, tables.m, count);
  state.noise_index = static_cast<uint16_t>((state.noise_index + count * tables.m) % kSbrNoiseLength);
  state.sine_phase = static_cast<uint8_t>((state.sine_phase + count) % 4);
}

}  // namespace zdr::aacdec
