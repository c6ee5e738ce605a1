// One channel of one frame as parsed: the content of an individual_channel_stream (ISO/IEC 14496-3, 4.4.2.7),
// everything that the spectral tools need to reconstruct its spectrum.
//
// Bands are numbered across all window groups of a frame: band `sfb` of group `g` is entry `ics.band(g, sfb)`
// of every per-band array.
//
// Quantised values are stored in stream order: by group, within a group by band, within a band by window.
// Group g starts after the windows of the preceding groups; within it, band `sfb` starts at its offset times
// the number of windows of the group. For long windows this is line order.
#pragma once

#include <cstdint>

#include "aacdec/syntax/stream_format.h"

namespace zdr::aacdec {

inline constexpr int kMaxWindows = 8;
inline constexpr int kMaxGroups = 8;
// Long: one group of up to 51 bands; short: up to eight groups of up to 15.
inline constexpr int kMaxBands = 120;
inline constexpr int kMaxLtpBands = 40;
inline constexpr int kMaxPulses = 4;
inline constexpr int kMaxTnsFilters = 3;
inline constexpr int kMaxTnsOrder = 12;      // long windows of the LC and LTP profiles
inline constexpr int kMaxTnsOrderShort = 7;  // the limit of its three-bit field

// Codebook numbers that do not denote a spectral Huffman book.
enum : uint8_t {
  kZeroBook = 0,
  kReservedBook = 12,
  kNoiseBook = 13,
  kIntensityOutOfPhaseBook = 14,
  kIntensityInPhaseBook = 15
};
constexpr bool is_spectral_book(int book) {
  return book >= 1 && book <= 11;
}

enum class WindowSequence : uint8_t { kOnlyLong = 0, kLongStart = 1, kEightShort = 2, kLongStop = 3 };

struct IcsInfo {
  WindowSequence window_sequence = WindowSequence::kOnlyLong;
  uint8_t window_shape = 0;  // 0 sine, 1 Kaiser-Bessel derived
  uint8_t max_sfb = 0;       // bands that are coded in each group
  uint8_t band_count = 0;    // bands of a window: the stride of the per-band arrays
  uint8_t group_count = 1;
  uint8_t group_length[kMaxGroups] = {1};  // windows of each group

  bool is_short() const { return window_sequence == WindowSequence::kEightShort; }
  int window_count() const { return is_short() ? kMaxWindows : 1; }
  int window_length() const { return is_short() ? kShortLength : kFrameLength; }
  int band(int group, int sfb) const { return group * band_count + sfb; }
};

// Bands of a group that share a codebook.
struct Section {
  uint8_t group;
  uint8_t book;
  uint8_t start, end;  // scale factor bands
};

struct PulseData {
  bool present = false;
  uint8_t count = 0;
  uint8_t start_sfb = 0;
  uint8_t offset[kMaxPulses];
  uint8_t amplitude[kMaxPulses];
};

// Temporal noise shaping (TNS).
struct TnsFilter {
  uint8_t length;  // bands
  uint8_t order;   // at most 12 in long, 7 in short windows; 0: the filter only moves the band range
  bool downwards;
  int8_t coefficient[kMaxTnsOrder];  // transmitted field, sign-extended from its coded width
};

struct TnsWindow {
  uint8_t filter_count;
  uint8_t resolution;  // bits of the quantiser, 3 or 4; the coded width is one less with coef_compress
  TnsFilter filter[kMaxTnsFilters];
};

struct TnsData {
  bool present = false;
  TnsWindow window[kMaxWindows];  // the first window_count() are valid when present
};

// Long term prediction (LTP); long windows of the LTP profile only.
struct LtpData {
  bool present = false;
  uint16_t lag = 0;         // 0 to 2047 samples
  uint8_t coefficient = 0;  // 0 to 7, index of the gain
  bool long_used[kMaxLtpBands];
};

struct ChannelStream {
  uint8_t global_gain = 0;
  bool uses_noise = false;  // at least one band has the noise book (PNS)
  IcsInfo ics;
  // In stream order, without empty ones; adjacent bands with the same codebook are one section.
  uint8_t section_count = 0;
  Section section[kMaxBands];
  // Bands from max_sfb on have the zero book.
  uint8_t codebook[kMaxBands];
  // The meaning depends on the codebook. 1 to 11: scale factor; 13: noise energy (noise_nrg minus its offsets
  // 90 and 256); 14 and 15: intensity position; 0: always 0. Not range-checked.
  int16_t scale[kMaxBands];
  PulseData pulse;  // already added to the quantised values
  TnsData tns;
  LtpData ltp;

  // Clears the tools of the previous frame. Called before any bit of a new frame is read, so that a parse
  // that fails midway leaves a channel without tools.
  void clear_tools() {
    uses_noise = false;
    pulse.present = false;
    tns.present = false;
    ltp.present = false;
  }
};

}  // namespace zdr::aacdec
