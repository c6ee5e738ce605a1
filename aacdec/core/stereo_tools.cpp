// Applies M/S and intensity stereo band by band. Adjacent M/S bands are joined into runs for the kernel.
#include "aacdec/core/stereo_tools.h"

#include <algorithm>
#include <bit>

#include "aacdec/core/core_kernels.h"
#include "aacdec/fixed/fixed_point.h"

namespace zdr::aacdec {
namespace {

enum MsMask { kMsByBand = 1, kMsAllBands = 2 };

bool uses_mid_side(const Frame& frame, int band) {
  if (frame.pair.ms_mask_present == kMsByBand && frame.pair.ms_used[band] == 0) return false;
  return frame.channel[0].codebook[band] != kNoiseBook && frame.channel[1].codebook[band] < kReservedBook;
}

// Calls visit(band, first_line, lines) for every coded band of every window.
template <typename Visit>
void for_each_band(const IcsInfo& ics, const ScaleFactorBands& bands, Visit visit) {
  int window_start = 0;
  for (int group = 0; group < ics.group_count; ++group) {
    for (int w = 0; w < ics.group_length[group]; ++w) {
      for (int sfb = 0; sfb < ics.max_sfb; ++sfb) {
        visit(ics.band(group, sfb), window_start + bands.offsets[sfb],
              bands.offsets[sfb + 1] - bands.offsets[sfb]);
      }
      window_start += ics.window_length();
    }
  }
}

// to = from * 2^(-position/4), negated on request.
void scale_band(const int32_t* from, int32_t* to, int lines, int position, bool negative) {
  const int shift = position >> 2;
  const int steps = position & 3;
  if (shift >= 32 || shift <= -32) {
    std::fill_n(to, lines, 0);
  } else if (shift >= 0 || std::countl_zero(core_kernels().combined_magnitudes(from, lines)) > -shift) {
    core_kernels().scale(from, to, lines, shift, steps == 0 ? 0 : kQuarterSteps[steps], negative);
  } else {
    for (int i = 0; i < lines; ++i) {
      const int32_t v = scale_by_quarter_steps(from[i], -position);
      to[i] = negative ? sub_saturating(0, v) : v;
    }
  }
}

}  // namespace

void apply_mid_side(Frame& frame, const ScaleFactorBands& bands) {
  const int mask = frame.pair.ms_mask_present;
  if (mask != kMsByBand && mask != kMsAllBands) return;
  const auto mid_side = core_kernels().mid_side;
  int start = 0;
  int end = 0;
  for_each_band(frame.channel[0].ics, bands, [&](int band, int first_line, int lines) {
    if (!uses_mid_side(frame, band)) return;
    if (first_line != end) {
      if (end > start) mid_side(frame.spectrum[0] + start, frame.spectrum[1] + start, end - start);
      start = first_line;
    }
    end = first_line + lines;
  });
  if (end > start) mid_side(frame.spectrum[0] + start, frame.spectrum[1] + start, end - start);
}

void apply_intensity(Frame& frame, const ScaleFactorBands& bands) {
  const ChannelStream& right = frame.channel[1];
  for_each_band(right.ics, bands, [&](int band, int first_line, int lines) {
    if (right.codebook[band] < kIntensityOutOfPhaseBook) return;
    const bool inverted = frame.pair.ms_mask_present == kMsByBand && frame.pair.ms_used[band] != 0;
    const bool negative = (right.codebook[band] == kIntensityOutOfPhaseBook) != inverted;
    scale_band(frame.spectrum[0] + first_line, frame.spectrum[1] + first_line, lines, right.scale[band],
               negative);
  });
}

}  // namespace zdr::aacdec
