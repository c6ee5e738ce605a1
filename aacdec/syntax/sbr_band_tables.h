// The SBR header and the frequency band tables that follow from it.
//
// Borders are QMF bands 0 to 64 at the 64-band resolution of the SBR rate (twice the core rate).
#pragma once

#include <cstdint>

namespace zdr::aacdec {

inline constexpr int kMaxSbrBands = 48;  // of the master table, and so of the high resolution table
inline constexpr int kMaxLowBands = 24;
inline constexpr int kMaxNoiseBands = 5;
inline constexpr int kMaxPatches = 5;
inline constexpr int kMaxLimiterBands = kMaxLowBands + kMaxPatches - 1;

// The fields of sbr_header, with the values that apply before the first header.
struct SbrHeader {
  uint8_t amp_res = 1;  // 0: steps of 1.5 dB, 1: of 3 dB
  uint8_t start_freq = 5;
  uint8_t stop_freq = 0;
  uint8_t xover_band = 0;
  uint8_t freq_scale = 2;
  uint8_t alter_scale = 2;  // Kept: acts as 1; a stream can only transmit 0 or 1
  uint8_t noise_bands = 2;
  uint8_t limiter_bands = 2;
  uint8_t limiter_gains = 2;
  uint8_t interpol_freq = 1;
  uint8_t smoothing_mode = 1;  // 0: smoothing on

  bool operator==(const SbrHeader&) const = default;
};

struct SbrBandTables {
  uint8_t k0 = 0;  // first band of the master table
  uint8_t k2 = 0;  // its end
  uint8_t kx = 0;  // first band that SBR generates
  uint8_t m = 0;   // number of bands that SBR generates: kx to kx + m - 1
  // Numbers of bands; each border array has one entry more. All 0 if the header leaves no room above the
  // core.
  uint8_t master_count = 0;
  uint8_t high_count = 0;
  uint8_t low_count = 0;
  uint8_t noise_count = 0;
  uint8_t limiter_count = 0;
  uint8_t patch_count = 0;
  uint8_t master[kMaxSbrBands + 1] = {};
  uint8_t high[kMaxSbrBands + 1] = {};
  uint8_t low[kMaxLowBands + 1] = {};
  uint8_t noise[kMaxNoiseBands + 1] = {};
  uint8_t limiter[kMaxLimiterBands + 1] = {};
  // Patch p copies bands patch_start[p] .. patch_start[p] + patch_width[p] - 1 to the bands after those of
  // patch p - 1, from kx on. The last patch may end before kx + m; bands above it stay silent.
  uint8_t patch_start[kMaxPatches] = {};
  uint8_t patch_width[kMaxPatches] = {};

  // The band borders of an envelope.
  const uint8_t* envelope_borders(bool high_resolution) const { return high_resolution ? high : low; }
  int envelope_bands(bool high_resolution) const { return high_resolution ? high_count : low_count; }
};

}  // namespace zdr::aacdec
