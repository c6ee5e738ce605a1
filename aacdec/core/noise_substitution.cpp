// Generates noise and scales it to the transmitted energy.
#include "aacdec/core/noise_substitution.h"

#include <bit>

#include "aacdec/core/core_kernels.h"
#include "aacdec/fixed/fixed_point.h"
#include "aacdec/fixed/magnitude.h"
#include "aacdec/tables/prepared_factor.h"

namespace zdr::aacdec {
namespace {

constexpr int kSpectrumScale = 3;  // 2^3 for one step of PCM

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

// lines = lines * 2^16 * root, times 2^(exponent/4).
void scale_noise(int32_t root, int exponent, int32_t* lines, int count) {
  const int shift = -exponent / 4;
  const int steps = -exponent & 3;
  if (shift > 0 && shift < 32) {
    const int32_t factor = steps == 0 ? 0 : kQuarterSteps[steps];
    core_kernels().scale_noise({root, shift, prepared_factor(factor)}, lines, count);
    return;
  }
  // Rare: lines that vanish, or may saturate.
  for (int i = 0; i < count; ++i) {
    lines[i] = scale_by_quarter_steps(mul_q31(shift_left_wrapping(lines[i], 16), root), exponent);
  }
}

}  // namespace

void substitute_noise(uint32_t& state, int noise_energy, int32_t* lines, int count) {
  const uint64_t energy = core_kernels().draw_noise(state, lines, count);
  const InverseRoot root = inverse_square_root(energy);
  // The products are 2^(62 - shift + 16 - 31) times a vector of norm 1.
  scale_noise(root.value, noise_energy + 4 * kSpectrumScale - 4 * (62 - root.shift + 16 - 31), lines, count);
}

// Kept: each channel has its own generator, and both start at 0. They produce the same noise until one has
// drawn more values, and noise that a pair declares common is not shared.
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
