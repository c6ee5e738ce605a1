// Tracks of every codec that the filter knows, with configurations whose bytes can be told apart.
#pragma once

#include "mediakit/boxes/movie_builder.h"

namespace zdr::tests {

inline test::TrackDescription video_track(const test::Bytes& entry, uint32_t sample_count = 10) {
  return {.handler = "vide",
          .sample_entries = {entry},
          .sizes = std::vector<uint32_t>(sample_count, 20),
          .width = 176,
          .height = 144};
}

inline test::TrackDescription audio_track(const test::Bytes& entry, uint32_t sample_count = 10) {
  return {.handler = "soun",
          .sample_entries = {entry},
          .time_scale = 8000,
          .sizes = std::vector<uint32_t>(sample_count, 32),
          .durations = {160}};
}

inline test::TrackDescription mpeg4_visual_track(uint32_t sample_count = 10) {
  return video_track(test::video_entry("mp4v", 352, 288,
                                       test::esds({.object_type = 0x20,
                                                   .stream_type = 4,
                                                   .average_bitrate = 123456,
                                                   .decoder_specific_info = {0, 0, 1, 0xB0, 3}})),
                     sample_count);
}

inline test::TrackDescription h263_track(uint32_t sample_count = 10) {
  return video_track(test::video_entry("s263", 176, 144, test::d263(0x5A414E44, 1, 10, 0)), sample_count);
}

inline test::TrackDescription speech_track(std::string_view entry, const test::Bytes& configuration,
                                           uint32_t sample_count = 10) {
  return audio_track(test::audio_entry(entry, 2, 8000, configuration), sample_count);
}

inline test::TrackDescription amr_wb_track(uint32_t sample_count = 10) {
  return speech_track("sawb", test::damr(0x5A414E44, 1, 0x83FF, 0, 1), sample_count);
}

inline test::TrackDescription qcelp_track(uint32_t sample_count = 10) {
  return speech_track("sqcp", test::speech_configuration("dqcp", 0x5A414E44, 1, 1), sample_count);
}

inline test::TrackDescription evrc_track(uint32_t sample_count = 10) {
  return speech_track("sevc", test::speech_configuration("devc", 0x5A414E44, 1, 1), sample_count);
}

// QCELP as an MPEG-4 object type: with bytes of configuration and a bitrate.
inline test::TrackDescription mpeg4_qcelp_track() {
  return audio_track(test::audio_entry(
      "mp4a", 1, 8000,
      test::esds({.object_type = 0xE1, .average_bitrate = 13300, .decoder_specific_info = {0x51, 0x4C}})));
}

inline test::TrackDescription ac3_track() {
  return audio_track(test::audio_entry("ac-3", 6, 48000, test::dac3()));
}

inline test::TrackDescription eac3_track() {
  return audio_track(test::audio_entry("ec-3", 2, 44100, test::dec3(192, {test::Eac3Substream{}})));
}

}  // namespace zdr::tests
