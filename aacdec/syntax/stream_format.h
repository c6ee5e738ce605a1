// The parameters of a stream on which its syntax depends, and the limits of what the decoder supports.
#pragma once

namespace zdr::aacdec {

inline constexpr int kMaxChannels = 2;
inline constexpr int kFrameLength = 1024;  // lines or samples of a frame
inline constexpr int kShortLength = 128;   // lines of one of the eight short windows

// The profile field of ADTS and of the program_config_element: the audio object type minus one.
enum Profile { kProfileLc = 1, kProfileLtp = 3 };
constexpr bool is_supported_profile(int profile) {
  return profile == kProfileLc || profile == kProfileLtp;
}

struct StreamFormat {
  int sampling_index = 0;  // of the tables for the core's rate, 0 to 11
  int profile = kProfileLc;
  // The sampling_frequency_index of the stream, which a program_config_element must repeat: 12 at 7350 Hz,
  // which has no tables of its own.
  int stream_index = sampling_index;
};

}  // namespace zdr::aacdec
