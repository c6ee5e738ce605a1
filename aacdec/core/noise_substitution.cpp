// Generates noise and scales it to the transmitted energy.
#include "aacdec/core/noise_substitution.h"

#include <bit>

#include "aacdec/fixed/fixed_point.h"
#include "aacdec/fixed/magnitude.h"

namespace zdr::aacdec {
namespace {

constexpr int kSpectrumScale = 3;  // 2^3 for one step of PCM

// Kept: each channel has its own generator, and both start at 0. They produce the same noise until one has
// drawn more values, and noise that a pair declares common is not shared.
//
// The low bits of a linear congruential generator have short periods, so only the high half is used.
int32_t draw(uint32_t& state) {
  state = state * 1664525U + 1013904223U;
  return static_cast<int32_t>(state) >> 16;
}

// 1 / sqrt(v) = value * 2^(shift - 62), value from 2^30 to 0x7FFFFFFF.
struct InverseRoot {
  int32_t value;
  int shift;
};

InverseRoot inverse_square_root(uint64_t v) {
  if (v == 0) return {kInt32Max, 0};
  const int shift = std::countl_zero(v) / 2;
  const uint64_t inverse = (uint64_t{1} << 62) / integer_root(v << (2 * shift));
  return {saturate(static_cast<int64_t>(inverse)), shift};
}

}  // namespace

void substitute_noise(uint32_t& state, int noise_energy, int32_t* lines, int count) {
  uint64_t energy = 0;
  for (int i = 0; i < count; ++i) {
    lines[i] = draw(state);
    energy += static_cast<uint64_t>(int64_t{lines[i]} * lines[i]);
  }
  const InverseRoot root = inverse_square_root(energy);
  // The products are 2^(62 - shift + 16 - 31) times a vector of norm 1.
  const int exponent = noise_energy + 4 * kSpectrumScale - 4 * (62 - root.shift + 16 - 31);
  for (int i = 0; i < count; ++i) {
    lines[i] = scale_by_quarter_steps(mul_q31(shift_left_wrapping(lines[i], 16), root.value), exponent);
  }
}

void substitute_noise_bands(ChannelStream& channel, const ScaleFactorBands& bands, uint32_t& state,
                            int32_t* spectrum) {
  const IcsInfo& ics = channel.ics;
  for (int group = 0; group < ics.group_count; ++group) {
    for (int sfb = 0; sfb < ics.max_sfb; ++sfb) {
      const int band = ics.band(group, sfb);
      if (channel.codebook[band] != kNoiseBook) continue;
      if (!ics.is_short() && sfb < kMaxLtpBands) channel.ltp.long_used[sfb] = false;
      const int width = bands.offsets[sfb + 1] - bands.offsets[sfb];
      for (int w = 0; w < ics.group_length[group]; ++w) {
        substitute_noise(state, channel.scale[band], spectrum + w * ics.window_length() + bands.offsets[sfb],
                         width);
      }
    }
    spectrum += ics.group_length[group] * ics.window_length();
  }
}

}  // namespace zdr::aacdec
