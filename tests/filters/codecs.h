// Every codec that the filter knows: a track of the codec, whose configuration has recognisable bytes, and
// the type, samples and failures that its pin must produce.
#pragma once

#include <algorithm>
#include <array>
#include <cstring>
#include <numeric>

#include "filters/source/mp4/interfaces/zdr_guids.h"
#include "tests/filters/filter_under_test.h"

namespace zdr::test {

inline TrackDescription speech_track(std::string_view entry, const Bytes& configuration) {
  return audio_track(audio_entry(entry, 2, 8000, configuration));
}

// AAC whose configuration alone describes it: 24 kHz, one channel, parametric stereo at 48 kHz.
inline const Bytes kParametricStereo = {0xEB, 0x09, 0x88, 0x00};

inline TrackDescription aac_track_with(const Bytes& configuration, uint32_t first_unit_size = 40) {
  TrackDescription track = aac_track(2, first_unit_size);
  track.sample_entries = {audio_entry(
      "mp4a", 2, 48000, esds({.average_bitrate = 48000, .decoder_specific_info = configuration}))};
  return track;
}

// --- Format blocks ---

template <class Record>
Bytes bytes_of_record(const Record& record) {
  const auto* const bytes = reinterpret_cast<const uint8_t*>(&record);
  return {bytes, bytes + sizeof record};
}

// `counted`: the bytes of `extra` that biSize includes.
inline Bytes video_block(DWORD bitrate, LONG width, LONG height, const char* compression, const Bytes& extra,
                         DWORD counted) {
  VIDEOINFOHEADER header{};
  header.dwBitRate = bitrate;
  header.AvgTimePerFrame = 1000000;
  header.bmiHeader = {40 + counted, width, height, 1, 0, 0, 0, 0, 0, 0, 0};
  std::memcpy(&header.bmiHeader.biCompression, compression, 4);
  return concat({bytes_of_record(header), extra});
}

inline Bytes block_of(const CMediaType& type) {
  return {type.pbFormat, type.pbFormat + type.cbFormat};
}

inline Bytes wave_block(const WAVEFORMATEX& format, const Bytes& extra = {}) {
  return concat({bytes_of_record(format), extra});
}

inline Bytes aac_block(const Bytes& configuration, const Bytes& unit) {
  const size_t size = 26 + configuration.size() + unit.size();
  const std::array<uint16_t, 4> sizes = {static_cast<uint16_t>(configuration.size()), 0,
                                         static_cast<uint16_t>(unit.size()), 0};
  return wave_block({0xA106, 2, 24000, 48000, 1, 0, static_cast<WORD>(size)},
                    concat({bytes_of_record(sizes), configuration, unit}));
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
  const Bytes mpeg4_record = esds({.object_type = 0x20,
                                   .stream_type = 4,
                                   .average_bitrate = 123456,
                                   .decoder_specific_info = {0, 0, 1, 0xB0, 3}});
  const Bytes avc_extra = {3, 0, 0, 4, 0x67, 0x42, 0xC0, 0x1E, 0, 2, 0x68, 0xCE};
  // QCELP as an MPEG-4 object type: with bytes of configuration and a bitrate.
  const Bytes qcelp_record =
      esds({.object_type = 0xE1, .average_bitrate = 13300, .decoder_specific_info = {0x51, 0x4C}});
  const uint32_t vendor = 0x5A414E44;
  return {
      {"MPEG-4 visual", video_track(video_entry("mp4v", 352, 288, mpeg4_record)), kSubtypeMpeg4Visual,
       FORMAT_VideoInfo, video_block(123456, 352, 288, "M4S2", concat({{0, 0, 1, 0xB0, 3}, frame}), 25), 1,
       true},
      {"H.263", video_track(video_entry("s263", 176, 144, d263(vendor, 1, 10, 0))), kSubtypeH263,
       FORMAT_VideoInfo, video_block(kMeasuredBitrate, 176, 144, "H263", frame, 20), 1, true},
      // biSize does not include the two bytes before the lists.
      {"AVC", avc_track(10), kSubtypeAvc, FORMAT_VideoInfo,
       video_block(kMeasuredBitrate, 176, 144, "H264", avc_extra, 10)},
      {"AAC", aac_track_with(kParametricStereo), kSubtypeAac, FORMAT_WaveFormatEx,
       aac_block(kParametricStereo, sample_content(1, 1, 40)), 10, true},
      {"AMR", amr_track(10), kSubtypeAmrNarrowBand, FORMAT_WaveFormatEx,
       wave_block({0x7A22, 1, 8000, 0, 4, 0, 0}), 10, false, -2},
      {"AMR-WB", speech_track("sawb", damr(vendor, 1, 0x83FF, 0, 1)), kSubtypeAmrWideBand,
       FORMAT_WaveFormatEx, wave_block({0x7A22, 1, 16000, 0, 4, 0, 0}), 10, false, -2},
      {"QCELP", speech_track("sqcp", speech_configuration("dqcp", vendor, 1, 1)), kSubtypeQcelp, kFormatQcelp,
       wave_block({0xF7, 1, 8000, 0, 4, 0, 0}), 1, false, -2},
      {"QCELP in MPEG-4", audio_track(audio_entry("mp4a", 1, 8000, qcelp_record)), kSubtypeQcelp,
       kFormatQcelp, wave_block({0xF7, 1, 8000, 13300, 4, 0, 2}, {0x51, 0x4C}), 1, false, -2},
      {"EVRC", speech_track("sevc", speech_configuration("devc", vendor, 1, 1)), kSubtypeEvrc, kFormatEvrc,
       wave_block({0xF9, 1, 8000, 0, 4, 0, 0}), 1, false, -2},
      {"AC-3", audio_track(audio_entry("ac-3", 6, 48000, dac3())), kSubtypeDolbyAc3, FORMAT_WaveFormatEx,
       wave_block({0x2000, 6, 48000, 48000, 1536, 0, 18}), 10, true},
      {"E-AC-3", audio_track(audio_entry("ec-3", 2, 44100, dec3(192, {Eac3Substream{}}))), kSubtypeDolbyAc3,
       FORMAT_WaveFormatEx, wave_block({0x2000, 2, 44100, 44100, 1536, 0, 18}), 10, true},
  };
}

// The track of a codec, with that number of samples.
inline TrackDescription track_of(std::string_view name, size_t samples = 10) {
  const std::vector<Codec> codecs = every_codec();
  TrackDescription track = std::ranges::find(codecs, name, &Codec::name)->track;
  track.sizes.resize(samples, track.sizes[0]);
  return track;
}

// Frames of 40 ms, every 25th of which is a sync sample, and speech of 20 ms a unit. The size of a sample is
// its number.
inline MovieDescription numbered_movie(uint32_t frames, uint32_t units, uint32_t slower = 1) {
  TrackDescription video = avc_track(frames);
  video.durations = {40 * slower};
  for (uint32_t number = 1; number <= frames; number += 25) video.sync_samples.push_back(number);
  TrackDescription audio = track_of("EVRC", units);
  audio.durations = {160 * slower};
  for (TrackDescription* track : {&video, &audio}) {
    std::iota(track->sizes.begin(), track->sizes.end(), 1u);
  }
  return {.tracks = {audio, video}};
}

}  // namespace zdr::test
