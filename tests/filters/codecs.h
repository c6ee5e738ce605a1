// Every codec that the filter knows: a track of the codec, whose configuration has recognisable bytes, and
// the type, samples and failures that its pin must produce.
#pragma once

#include "filters/source/mp4/interfaces/zdr_guids.h"
#include "tests/filters/filter_under_test.h"

namespace zdr::test {

inline TrackDescription video_track(const Bytes& entry, uint32_t sample_count = 10) {
  return {.handler = "vide",
          .sample_entries = {entry},
          .sizes = std::vector<uint32_t>(sample_count, 20),
          .width = 176,
          .height = 144};
}

inline TrackDescription audio_track(const Bytes& entry, uint32_t sample_count = 10) {
  return {.handler = "soun",
          .sample_entries = {entry},
          .time_scale = 8000,
          .sizes = std::vector<uint32_t>(sample_count, 32),
          .durations = {160}};
}

inline TrackDescription mpeg4_visual_track() {
  return video_track(video_entry("mp4v", 352, 288,
                                 esds({.object_type = 0x20,
                                       .stream_type = 4,
                                       .average_bitrate = 123456,
                                       .decoder_specific_info = {0, 0, 1, 0xB0, 3}})));
}

inline TrackDescription h263_track() {
  return video_track(video_entry("s263", 176, 144, d263(0x5A414E44, 1, 10, 0)));
}

inline TrackDescription speech_track(std::string_view entry, const Bytes& configuration,
                                     uint32_t sample_count = 10) {
  return audio_track(audio_entry(entry, 2, 8000, configuration), sample_count);
}

inline TrackDescription amr_wb_track(uint32_t sample_count = 10) {
  return speech_track("sawb", damr(0x5A414E44, 1, 0x83FF, 0, 1), sample_count);
}

inline TrackDescription qcelp_track(uint32_t sample_count = 10) {
  return speech_track("sqcp", speech_configuration("dqcp", 0x5A414E44, 1, 1), sample_count);
}

inline TrackDescription evrc_track(uint32_t sample_count = 10) {
  return speech_track("sevc", speech_configuration("devc", 0x5A414E44, 1, 1), sample_count);
}

// QCELP as an MPEG-4 object type: with bytes of configuration and a bitrate.
inline TrackDescription mpeg4_qcelp_track() {
  return audio_track(audio_entry(
      "mp4a", 1, 8000,
      esds({.object_type = 0xE1, .average_bitrate = 13300, .decoder_specific_info = {0x51, 0x4C}})));
}

inline TrackDescription ac3_track() {
  return audio_track(audio_entry("ac-3", 6, 48000, dac3()));
}

// AAC whose configuration alone describes it: 24 kHz, one channel, parametric stereo at 48 kHz.
inline const Bytes kParametricStereo = {0xEB, 0x09, 0x88, 0x00};

inline TrackDescription aac_track_with(const Bytes& configuration, uint32_t first_unit_size = 40) {
  TrackDescription track = aac_track(2, first_unit_size);
  track.sample_entries = {audio_entry(
      "mp4a", 2, 48000, esds({.average_bitrate = 48000, .decoder_specific_info = configuration}))};
  return track;
}

// Fields of a format block, low byte first: sizes and values.
inline Bytes little(std::initializer_list<std::pair<int, uint64_t>> fields) {
  Bytes bytes;
  for (const auto& [size, value] : fields) {
    for (int i = 0; i < size; ++i) bytes.push_back(static_cast<uint8_t>(value >> (8 * i)));
  }
  return bytes;
}

// `counted`: the bytes of `extra` that biSize includes.
inline Bytes video_block(uint32_t bitrate, uint16_t width, uint16_t height, std::string_view compression,
                         const Bytes& extra, size_t counted) {
  constexpr uint64_t kTimePerFrame = 1000000;
  const Bytes header = little({{32, 0}, {4, bitrate}, {4, 0}, {8, kTimePerFrame}, {4, 40 + counted}});
  const Bytes picture = little({{4, width}, {4, height}, {2, 1}, {2, 0}});
  return concat({header, picture, Bytes(compression.begin(), compression.end()), Bytes(20, 0), extra});
}

inline Bytes wave_block(uint16_t tag, uint16_t channels, uint32_t rate, uint32_t average, uint16_t align,
                        size_t extra_size, const Bytes& extra = {}) {
  return concat(
      {little({{2, tag}, {2, channels}, {4, rate}, {4, average}, {2, align}, {2, 0}, {2, extra_size}}),
       extra});
}

inline Bytes aac_block(const Bytes& configuration, const Bytes& unit) {
  return concat({wave_block(0xA106, 2, 24000, 48000, 1, 26 + configuration.size() + unit.size()),
                 little({{1, configuration.size()}, {3, 0}, {2, unit.size()}, {2, 0}}), configuration, unit});
}

struct Codec {
  std::string name;
  TrackDescription track;
  GUID subtype;
  GUID format_type;
  Bytes block;                        // of the offered type
  size_t units = 1;                   // in a media sample
  bool reads_a_sample = false;        // to build the type
  HRESULT no_memory = E_OUTOFMEMORY;  // the result of building the type without memory for the block
  bool is_video() const { return track.handler == "vide"; }
  bool has_size_table() const { return subtype == mp4source::kSubtypeAac; }
};

inline std::vector<Codec> every_codec() {
  using namespace mp4source;
  // Ten frames of 20 bytes in a second; the bitrate does not include the last one.
  constexpr uint32_t kMeasuredBitrate = 9 * 20 * 8;
  const Bytes frame = sample_content(1, 1, 20);
  const Bytes mpeg4_extra = concat({{0, 0, 1, 0xB0, 3}, frame});
  const Bytes avc_extra = {3, 0, 0, 4, 0x67, 0x42, 0xC0, 0x1E, 0, 2, 0x68, 0xCE};
  const TrackDescription eac3 = audio_track(audio_entry("ec-3", 2, 44100, dec3(192, {Eac3Substream{}})));
  return {
      {"MPEG-4 visual", mpeg4_visual_track(), kSubtypeMpeg4Visual, FORMAT_VideoInfo,
       video_block(123456, 352, 288, "M4S2", mpeg4_extra, 25), 1, true},
      {"H.263", h263_track(), kSubtypeH263, FORMAT_VideoInfo,
       video_block(kMeasuredBitrate, 176, 144, "H263", frame, 20), 1, true},
      // biSize does not include the two bytes before the lists.
      {"AVC", avc_track(10), kSubtypeAvc, FORMAT_VideoInfo,
       video_block(kMeasuredBitrate, 176, 144, "H264", avc_extra, 10)},
      {"AAC", aac_track_with(kParametricStereo), kSubtypeAac, FORMAT_WaveFormatEx,
       aac_block(kParametricStereo, sample_content(1, 1, 40)), 10, true},
      {"AMR", amr_track(10), kSubtypeAmrNarrowBand, FORMAT_WaveFormatEx, wave_block(0x7A22, 1, 8000, 0, 4, 0),
       10, false, -2},
      {"AMR-WB", amr_wb_track(), kSubtypeAmrWideBand, FORMAT_WaveFormatEx,
       wave_block(0x7A22, 1, 16000, 0, 4, 0), 10, false, -2},
      {"QCELP", qcelp_track(), kSubtypeQcelp, kFormatQcelp, wave_block(0xF7, 1, 8000, 0, 4, 0), 1, false, -2},
      {"QCELP in MPEG-4", mpeg4_qcelp_track(), kSubtypeQcelp, kFormatQcelp,
       wave_block(0xF7, 1, 8000, 13300, 4, 2, {0x51, 0x4C}), 1, false, -2},
      {"EVRC", evrc_track(), kSubtypeEvrc, kFormatEvrc, wave_block(0xF9, 1, 8000, 0, 4, 0), 1, false, -2},
      {"AC-3", ac3_track(), kSubtypeDolbyAc3, FORMAT_WaveFormatEx,
       wave_block(0x2000, 6, 48000, 48000, 1536, 18), 10, true},
      {"E-AC-3", eac3, kSubtypeDolbyAc3, FORMAT_WaveFormatEx, wave_block(0x2000, 2, 44100, 44100, 1536, 18),
       10, true},
  };
}

}  // namespace zdr::test
