// Computes energies as powers of the square root of two, and divides them between coupled channels.
#include "aacdec/sbr/sbr_envelope.h"

#include <algorithm>

namespace zdr::aacdec {
namespace {

constexpr Magnitude kOne = magnitude_of(1);
constexpr Magnitude kRootOfTwo = magnitude_of(1.4142135623730951);

constexpr int kLargestLevel = 127;
constexpr int kLargestBalance = 48;
constexpr int kLargestNoise = 30;
// The balance of equal channels: by amp_res for envelopes (steps of 1.5 and 3 dB), and for noise floors.
constexpr int kEvenBalance[2] = {24, 12};
constexpr int kEvenNoiseBalance = 12;

// 2^(half_steps / 2)
Magnitude power_of_root(int half_steps) {
  const int odd = half_steps & 1;
  return scaled(odd != 0 ? kRootOfTwo : kOne, (half_steps - odd) / 2);
}

bool is_coupled(const SbrFrame& frame) {
  const SbrChannelFrame& second = frame.channel[1];
  return second.status == SbrStatus::kParsed && second.coupled &&
         frame.channel[0].status == SbrStatus::kParsed;
}

// Returns the part of `both` that belongs to a channel; the right channel has `ratio` times the energy of the
// left.
Magnitude part_of(Magnitude both, Magnitude ratio, int channel) {
  const Magnitude left = both / (kOne + ratio);
  return channel == 0 ? left : left * ratio;
}

}  // namespace

Magnitude envelope_energy(const SbrFrame& frame, int channel, int envelope, int band) {
  const bool coupled = is_coupled(frame);
  const SbrChannelFrame& levels = frame.channel[coupled ? 0 : channel];
  const int steps = levels.amp_res != 0 ? 2 : 1;
  const int level = std::clamp<int>(levels.envelope[envelope][band], 0, kLargestLevel);
  const Magnitude energy = scaled(power_of_root(steps * level), 6);
  if (!coupled) return energy;
  const int balance = std::clamp<int>(frame.channel[1].envelope[envelope][band], 0, kLargestBalance);
  return part_of(scaled(energy, 1), power_of_root(steps * (kEvenBalance[levels.amp_res != 0] - balance)),
                 channel);
}

Magnitude noise_ratio(const SbrFrame& frame, int channel, int floor, int band) {
  const bool coupled = is_coupled(frame);
  const SbrChannelFrame& levels = frame.channel[coupled ? 0 : channel];
  const int level = std::clamp<int>(levels.noise[floor][band], 0, kLargestNoise);
  if (!coupled) return scaled(kOne, 6 - level);
  const int balance = std::clamp<int>(frame.channel[1].noise[floor][band], 0, kLargestBalance);
  return part_of(scaled(kOne, 7 - level), scaled(kOne, kEvenNoiseBalance - balance), channel);
}

}  // namespace zdr::aacdec
