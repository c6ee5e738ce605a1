// Computes energies as powers of the square root of two, and divides them between coupled channels.
#include "aacdec/sbr/sbr_envelope.h"

#include <algorithm>
#include <array>
#include <cstddef>

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
constexpr Magnitude power_of_root(int half_steps) {
  const int odd = half_steps & 1;
  return scaled(odd != 0 ? kRootOfTwo : kOne, (half_steps - odd) / 2);
}

// In half steps, see below: the energy of level 0, which is 2^6, and what makes the level of a coupled pair,
// its mean, the sum of both channels.
constexpr int kEnergyOfLevel0 = 12;
constexpr int kSumOfBoth = 2;

// The ratios of right to left that balances describe. Like levels, they are exponents of the square root of
// two: half steps.
constexpr int kLeastRatio = 2 * (kEvenBalance[1] - kLargestBalance);
constexpr int kLargestRatio = 2 * kEvenBalance[1];
static_assert(kEvenBalance[0] - kLargestBalance >= kLeastRatio && kEvenBalance[0] <= kLargestRatio);

// The left channel's part, 1 / (1 + ratio), of common energies of 1 and of the square root of two, by ratio.
// A table, because every band of a coupled pair would need a division.
constexpr auto kLeftParts = [] {
  std::array<std::array<Magnitude, kLargestRatio - kLeastRatio + 1>, 2> parts{};
  for (int odd = 0; odd < 2; ++odd) {
    for (int ratio = kLeastRatio; ratio <= kLargestRatio; ++ratio) {
      parts[static_cast<size_t>(odd)][static_cast<size_t>(ratio - kLeastRatio)] =
          power_of_root(odd) / (kOne + power_of_root(ratio));
    }
  }
  return parts;
}();

bool is_coupled(const SbrFrame& frame) {
  const SbrChannelFrame& second = frame.channel[1];
  return second.status == SbrStatus::kParsed && second.coupled &&
         frame.channel[0].status == SbrStatus::kParsed;
}

// Returns the part of an energy of both channels that belongs to one; the right channel has `ratio` times the
// energy of the left. `both` and `ratio` are in half steps.
Magnitude part_of(int both, int ratio, int channel) {
  const int odd = both & 1;
  const Magnitude& part = kLeftParts[static_cast<size_t>(odd)][static_cast<size_t>(ratio - kLeastRatio)];
  const Magnitude left = scaled(part, (both - odd) / 2);
  return channel == 0 ? left : left * power_of_root(ratio);
}

}  // namespace

void envelope_energies(const SbrFrame& frame, int channel, int envelope, int count, Magnitude* energies) {
  const bool coupled = is_coupled(frame);
  const SbrChannelFrame& levels = frame.channel[coupled ? 0 : channel];
  const int16_t* const balances = frame.channel[1].envelope[envelope];
  const int steps = levels.amp_res != 0 ? 2 : 1;
  const int even_balance = kEvenBalance[levels.amp_res != 0];
  for (int band = 0; band < count; ++band) {
    const int level =
        kEnergyOfLevel0 + steps * std::clamp<int>(levels.envelope[envelope][band], 0, kLargestLevel);
    if (!coupled) {
      energies[band] = power_of_root(level);
    } else {
      const int balance = std::clamp<int>(balances[band], 0, kLargestBalance);
      energies[band] = part_of(level + kSumOfBoth, steps * (even_balance - balance), channel);
    }
  }
}

Magnitude noise_ratio(const SbrFrame& frame, int channel, int floor, int band) {
  const bool coupled = is_coupled(frame);
  const SbrChannelFrame& levels = frame.channel[coupled ? 0 : channel];
  const int level = std::clamp<int>(levels.noise[floor][band], 0, kLargestNoise);
  if (!coupled) return scaled(kOne, 6 - level);
  const int balance = std::clamp<int>(frame.channel[1].noise[floor][band], 0, kLargestBalance);
  return part_of(2 * (7 - level), 2 * (kEvenNoiseBalance - balance), channel);
}

}  // namespace zdr::aacdec
