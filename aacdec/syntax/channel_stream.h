// One individual_channel_stream of ISO/IEC 14496-3 as parsed: everything that the spectral tools need to turn
// one channel of one frame into a spectrum, and nothing of other frames.
//
// Bands of a frame are numbered over all its window groups: band `sfb` of group `g` is entry `ics.band(g,
// sfb)` of every per-band array. Quantised values stand in the order of the stream: group after group, in a
// group band after band, in a band window after window. `group_start` and the band offsets times the group
// length address them; in long windows this is plain line order.
#pragma once

#include <cstdint>
#include <span>

#include "aacdec/syntax/bit_reader.h"

namespace zdr::aacdec {

inline constexpr int kFrameLength = 1024;  // lines or samples of a frame
inline constexpr int kShortLength = 128;   // lines of one of the eight short windows
inline constexpr int kMaxWindows = 8;
inline constexpr int kMaxGroups = 8;
// Long: one group of up to 51 bands; short: up to eight groups of up to 15.
inline constexpr int kMaxBands = 120;
inline constexpr int kMaxLtpBands = 40;
inline constexpr int kMaxPulses = 4;
inline constexpr int kMaxTnsFilters = 3;
inline constexpr int kMaxTnsOrder = 12;      // long windows of the LC and LTP profiles
inline constexpr int kMaxTnsOrderShort = 7;  // all that three bits can say

// Section codebooks that are not spectral books.
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

// The profile field of ADTS and of the program_config_element: the audio object type minus one.
enum Profile { kProfileLc = 1, kProfileLtp = 3 };
constexpr bool is_supported_profile(int profile) {
  return profile == kProfileLc || profile == kProfileLtp;
}

// The scale factor bands of one window: `count` bands, `offsets` has one entry more.
struct ScaleFactorBands {
  const uint16_t* offsets = nullptr;
  int count = 0;
};
ScaleFactorBands scale_factor_bands(int sampling_index, bool short_windows);

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

// Values are already added to the quantised spectrum; kept for whoever wants to look at the syntax.
struct PulseData {
  bool present = false;
  uint8_t count = 0;
  uint8_t start_sfb = 0;
  uint8_t offset[kMaxPulses] = {};
  uint8_t amplitude[kMaxPulses] = {};
};

struct TnsFilter {
  uint8_t length = 0;  // bands
  uint8_t order = 0;   // at most 12 in long, 7 in short windows; 0: the filter only moves the band range
  bool downwards = false;
  int8_t coefficient[kMaxTnsOrder] = {};  // transmitted field, sign-extended from its coded width
};

struct TnsWindow {
  uint8_t filter_count = 0;
  uint8_t resolution = 3;  // bits of the quantiser, 3 or 4; the coded width is one less with coef_compress
  TnsFilter filter[kMaxTnsFilters];
};

struct TnsData {
  bool present = false;
  TnsWindow window[kMaxWindows];  // the first window_count() are valid when present
};

// Long term prediction; long windows of the LTP profile only.
struct LtpData {
  bool present = false;
  uint16_t lag = 0;         // 0 to 2047 samples
  uint8_t coefficient = 0;  // 0 to 7, index of the gain
  bool long_used[kMaxLtpBands] = {};
};

struct ChannelStream {
  uint8_t global_gain = 0;
  bool uses_noise = false;  // at least one band has the noise book
  IcsInfo ics;
  // Bands at and above max_sfb have the zero book.
  uint8_t codebook[kMaxBands] = {};
  // By codebook: 1 to 11 scale factor, 13 noise energy (noise_nrg, the offsets of 90 and 256 taken off), 14
  // and 15 intensity position, 0 nothing (0). Not range-checked.
  int16_t scale[kMaxBands] = {};
  PulseData pulse;
  TnsData tns;
  LtpData ltp;

  // Forgets what must not outlive a frame: called before anything of a new frame is read, so that a parse
  // that fails half-way leaves a channel without tools.
  void begin();
};

// What the syntax depends on beside the bits.
struct StreamFormat {
  int sampling_index = 0;  // 0 to 11, of the core
  int profile = kProfileLc;
};

// Reads ics_info. With `second_ltp` (common_window) the second channel's prediction data follow. `ics` is
// written only when everything is valid. False: damaged or unsupported.
bool parse_ics_info(BitReader& reader, const StreamFormat& format, IcsInfo& ics, LtpData& ltp,
                    LtpData* second_ltp);

// Reads individual_channel_stream up to its spectral data; with `common_window` channel.ics has been read
// before.
bool parse_channel_side_info(BitReader& reader, const StreamFormat& format, bool common_window,
                             ChannelStream& channel);

// Reads spectral_data, the rest of individual_channel_stream. `quantised` receives kFrameLength values, zeros
// included and pulses added; an empty span means that only the syntax is followed.
bool parse_spectral_data(BitReader& reader, const StreamFormat& format, ChannelStream& channel,
                         std::span<int16_t> quantised);

}  // namespace zdr::aacdec
