// The media type of every codec, to the byte.
#include <gtest/gtest.h>

#include "filters/source/mp4/interfaces/zdr_guids.h"
#include "filters/source/mp4/media_types/media_type.h"
#include "tests/filters/codec_tracks.h"
#include "tests/filters/debugger_texts.h"
#include "tests/filters/filter_under_test.h"
#include "tests/platform/fault_at.h"
#include "tests/support/failing_allocator.h"

namespace zdr::tests {
namespace {

using namespace mp4source;
using test::Bytes;
using test::TrackDescription;

// Little-endian, as a format block lies in memory.
Bytes little(std::initializer_list<std::pair<int, uint64_t>> fields) {
  Bytes bytes;
  for (const auto& [size, value] : fields) {
    for (int i = 0; i < size; ++i) bytes.push_back(static_cast<uint8_t>(value >> (8 * i)));
  }
  return bytes;
}

Bytes video_block(uint32_t bitrate, uint32_t time_per_frame, uint16_t width, uint16_t height,
                  std::string_view compression, const Bytes& extra, uint32_t told_extra) {
  Bytes block = little({{8, 0},
                        {8, 0},
                        {8, 0},
                        {8, 0},
                        {4, bitrate},
                        {4, 0},
                        {8, time_per_frame},
                        {4, 40 + told_extra},
                        {4, width},
                        {4, height},
                        {2, 1},
                        {2, 0}});
  block.insert(block.end(), compression.begin(), compression.end());
  return test::concat({block, Bytes(20, 0), extra});
}

Bytes video_block(uint32_t bitrate, uint16_t width, uint16_t height, std::string_view compression,
                  const Bytes& extra) {
  return video_block(bitrate, 1000000, width, height, compression, extra,
                     static_cast<uint32_t>(extra.size()));
}

Bytes wave_block(uint16_t tag, uint16_t channels, uint32_t rate, uint32_t average, uint16_t align,
                 uint16_t extra_size, const Bytes& extra = {}) {
  return test::concat(
      {little({{2, tag}, {2, channels}, {4, rate}, {4, average}, {2, align}, {2, 0}, {2, extra_size}}),
       extra});
}

Bytes block_of(const CMediaType& type) {
  return {type.pbFormat, type.pbFormat + type.cbFormat};
}

TEST(MediaType, OfEveryCodec) {
  // Ten frames a second; the bitrate leaves the last of the ten frames of 20 bytes out.
  constexpr uint32_t kMeasuredBitrate = 9 * 20 * 8;
  const Bytes first_frame = test::sample_content(1, 1, 20);
  const Bytes avc_extra = {3, 0, 0, 4, 0x67, 0x42, 0xC0, 0x1E, 0, 2, 0x68, 0xCE};
  const struct {
    std::string name;
    TrackDescription track;
    GUID subtype;
    GUID format_type;
    Bytes block;
  } kCases[] = {
      {"MPEG-4 visual", mpeg4_visual_track(), kSubtypeMpeg4Visual, FORMAT_VideoInfo,
       video_block(123456, 352, 288, "M4S2", test::concat({{0, 0, 1, 0xB0, 3}, first_frame}))},
      {"H.263", h263_track(), kSubtypeH263, FORMAT_VideoInfo,
       video_block(kMeasuredBitrate, 176, 144, "H263", first_frame)},
      // The extra size does not tell the two bytes in front of the lists.
      {"AVC", test::avc_track(10), kSubtypeAvc, FORMAT_VideoInfo,
       video_block(kMeasuredBitrate, 1000000, 176, 144, "H264", avc_extra, 10)},
      {"AMR", test::amr_track(10), kSubtypeAmrNarrowBand, FORMAT_WaveFormatEx,
       wave_block(0x7A22, 1, 8000, 0, 4, 0)},
      {"AMR-WB", amr_wb_track(), kSubtypeAmrWideBand, FORMAT_WaveFormatEx,
       wave_block(0x7A22, 1, 16000, 0, 4, 0)},
      {"QCELP", qcelp_track(), kSubtypeQcelp, kFormatQcelp, wave_block(0xF7, 1, 8000, 0, 4, 0)},
      {"QCELP in MPEG-4", mpeg4_qcelp_track(), kSubtypeQcelp, kFormatQcelp,
       wave_block(0xF7, 1, 8000, 13300, 4, 2, {0x51, 0x4C})},
      {"EVRC", evrc_track(), kSubtypeEvrc, kFormatEvrc, wave_block(0xF9, 1, 8000, 0, 4, 0)},
      {"AC-3", ac3_track(), kSubtypeDolbyAc3, FORMAT_WaveFormatEx,
       wave_block(0x2000, 6, 48000, 48000, 1536, 18)},
      {"E-AC-3", eac3_track(), kSubtypeDolbyAc3, FORMAT_WaveFormatEx,
       wave_block(0x2000, 2, 44100, 44100, 1536, 18)},
  };
  for (const auto& each : kCases) {
    SCOPED_TRACE(each.name);
    FilterUnderTest under_test(each.track);
    CZanMP4SourceOutputPin& pin = under_test.pin(0);
    const bool is_video = each.track.handler == "vide";
    // A block of the same length that is there already must not shine through.
    CMediaType type;
    std::memset(type.AllocFormatBuffer(static_cast<ULONG>(each.block.size())), 0x55, each.block.size());
    ASSERT_EQ(pin.GetMediaType(0, &type), S_OK);
    EXPECT_EQ(type.majortype, is_video ? MEDIATYPE_Video : MEDIATYPE_Audio);
    EXPECT_EQ(type.subtype, each.subtype);
    EXPECT_EQ(type.formattype, each.format_type);
    EXPECT_EQ(type.bTemporalCompression != FALSE, is_video);
    EXPECT_EQ(type.bFixedSizeSamples != FALSE, !is_video);
    EXPECT_EQ(block_of(type), each.block);
    EXPECT_EQ(pin.CheckMediaType(&type), S_OK);
    EXPECT_EQ(pin.GetMediaType(1, &type), VFW_S_NO_MORE_ITEMS);
    EXPECT_EQ(pin.GetMediaType(-1, &type), E_INVALIDARG);
  }
}

TrackDescription aac_track(const Bytes& configuration, uint32_t first_unit_size) {
  TrackDescription track = test::aac_track(2, first_unit_size);
  track.sample_entries = {test::audio_entry(
      "mp4a", 2, 48000, test::esds({.average_bitrate = 48000, .decoder_specific_info = configuration}))};
  return track;
}

// 24 kHz, one channel, parametric stereo at 48 kHz: four bytes, which tell all without a look at a frame.
const Bytes kParametricStereo = {0xEB, 0x09, 0x88, 0x00};

Bytes aac_block(const Bytes& configuration, const Bytes& unit) {
  const auto whole = static_cast<uint16_t>(26 + configuration.size() + unit.size());
  return test::concat({wave_block(0xA106, 2, 24000, 48000, 1, whole),
                       little({{1, configuration.size() & 0xFF}, {3, 0}, {2, unit.size()}, {2, 0}}),
                       configuration, unit});
}

TEST(MediaType, RequiredAacConfigurationIsAfterwardsAsLongAsWhatWasReadOfIt) {
  const Bytes padded = test::concat({kParametricStereo, {0x99, 0x98}});
  FilterUnderTest under_test(aac_track(padded, 40));
  CMediaType type;
  ASSERT_EQ(under_test.pin(0).GetMediaType(0, &type), S_OK);
  EXPECT_EQ(type.subtype, kSubtypeAac);
  EXPECT_EQ(type.bTemporalCompression, FALSE);
  EXPECT_EQ(block_of(type), aac_block(padded, test::sample_content(1, 1, 40)));
  ASSERT_EQ(under_test.pin(0).GetMediaType(0, &type), S_OK);
  EXPECT_EQ(block_of(type), aac_block(kParametricStereo, test::sample_content(1, 1, 40)));
  EXPECT_EQ(under_test.pin(0).CheckMediaType(&type), S_OK);
}

TEST(MediaType, RequiredAacBlockSizeWrapsAt64KiB) {
  for (const uint32_t unit_size : {65505u, 65506u, 65531u, 65532u, 65600u}) {
    FilterUnderTest under_test(aac_track(kParametricStereo, unit_size));
    CMediaType type;
    const HRESULT hr = under_test.pin(0).GetMediaType(0, &type);
    const uint32_t block_bytes = (26 + 4 + unit_size) % 65536;
    if (block_bytes < 26) {
      EXPECT_EQ(hr, kTypeNotBuilt) << unit_size;
      continue;
    }
    ASSERT_EQ(hr, S_OK) << unit_size;
    Bytes expected = aac_block(kParametricStereo, test::sample_content(1, 1, unit_size));
    expected.resize(block_bytes);
    EXPECT_EQ(block_of(type), expected) << unit_size;
  }
}

TEST(MediaType, RequiredAacWithoutUsableConfigurationEndsTheListOfTypes) {
  // Object type 1, none, and one whose first unit, which may tell of parametric stereo, cannot be parsed.
  for (const Bytes& configuration : {Bytes{0x0A, 0x10}, Bytes{}, Bytes{0x12, 0x10}}) {
    FilterUnderTest under_test(aac_track(configuration, 40));
    CMediaType type;
    EXPECT_EQ(under_test.pin(0).GetMediaType(0, &type), VFW_S_NO_MORE_ITEMS);
  }
}

// Also those whose record is of the general kind, which has neither the sizes nor the lists of the codecs
// whose object type it tells.
TEST(MediaType, PinsOfOtherCodecsExistAndOfferNothing) {
  const auto video_of_type = [](uint8_t object_type) {
    return video_track(
        test::video_entry("mp4v", 16, 16, test::esds({.object_type = object_type, .stream_type = 4})));
  };
  const std::tuple<std::string, TrackDescription, TrackDescription> kCases[] = {
      {"MP3", audio_track(test::audio_entry(".mp3", 2, 44100)), h263_track()},
      {"AMR-WB+", speech_track("sawp", test::dawp(0x5A414E44, 1)), h263_track()},
      {"MPEG-1 video", video_of_type(0x6A), mpeg4_visual_track()},
      {"H.263 by its object type alone", video_of_type(0xC2), h263_track()},
      {"AVC by its object type alone", video_of_type(0x7F), test::avc_track(10)},
      {"AC-3 by its object type alone",
       audio_track(test::audio_entry("mp4a", 2, 8000, test::esds({.object_type = 0xFC}))), h263_track()},
  };
  for (const auto& [name, track, accepted_elsewhere] : kCases) {
    FilterUnderTest under_test(track);
    CMediaType type;
    EXPECT_EQ(under_test.pin(0).GetMediaType(0, &type), kTypeNotBuilt) << name;
    FilterUnderTest offering(accepted_elsewhere);
    ASSERT_EQ(offering.pin(0).GetMediaType(0, &type), S_OK);
    EXPECT_EQ(under_test.pin(0).CheckMediaType(&type), E_FAIL) << name;
  }
}

// Without memory for the first sample, or for the block; and with a first sample far behind the end.
TEST(MediaType, EveryFailureHasItsStatus) {
  const struct {
    std::string name;
    TrackDescription track;
    bool reads_a_sample;
    HRESULT no_memory;
    std::u16string text;  // told to the debugger without memory for the sample
  } kCases[] = {
      {"MPEG-4 visual", mpeg4_visual_track(), true, E_OUTOFMEMORY, u"Getmedia type Returns outof memory "},
      {"H.263", h263_track(), true, E_OUTOFMEMORY, u"Getmedia type Returns outof memory "},
      {"AC-3", ac3_track(), true, E_OUTOFMEMORY, u""},
      {"AAC", aac_track(kParametricStereo, 40), true, E_OUTOFMEMORY, u""},
      {"AVC", test::avc_track(10), false, E_OUTOFMEMORY, u""},
      {"AMR", test::amr_track(10), false, -2, u""},
      {"AMR-WB", amr_wb_track(), false, -2, u""},
      {"QCELP", qcelp_track(), false, -2, u""},
      {"EVRC", evrc_track(), false, -2, u""},
  };
  for (const auto& each : kCases) {
    SCOPED_TRACE(each.name);
    FilterUnderTest under_test(each.track);
    CZanMP4SourceOutputPin& pin = under_test.pin(0);
    CMediaType type;
    {
      const FaultAt fault(platform::FaultPoint::kTaskAllocation, 1);
      EXPECT_EQ(pin.GetMediaType(0, &type), each.no_memory);
    }
    if (!each.reads_a_sample) continue;
    {
      const DebuggerTexts texts;
      const test::FailingAllocator fault(1);
      EXPECT_EQ(pin.GetMediaType(0, &type), E_OUTOFMEMORY);
      EXPECT_EQ(texts.all(), each.text);
    }
    TrackDescription unreadable = each.track;
    unreadable.replaced["stco"] = test::stco(std::vector<uint64_t>(10, 1u << 20));
    FilterUnderTest without_sample(unreadable);
    EXPECT_EQ(without_sample.pin(0).GetMediaType(0, &type), kTypeNotBuilt);
  }
}

TEST(MediaType, RequiredAvcBlockSizeWrapsAt64KiB) {
  constexpr size_t kUnitLength = 65441;  // with its length field 3 bytes short of the wrap
  for (const size_t more : {0u, 2u, 3u, 100u}) {
    TrackDescription track = test::avc_track(2);
    track.sample_entries = {test::video_entry(
        "avc1", 176, 144, test::avcc({.sps = {Bytes(kUnitLength, 7)}, .pps = {Bytes(more, 8)}}))};
    FilterUnderTest under_test(track);
    CMediaType type;
    const size_t list_bytes = kUnitLength + more + 4;
    const size_t block_bytes = (list_bytes + 90) % 65536;
    const HRESULT hr = under_test.pin(0).GetMediaType(0, &type);
    if (block_bytes < 90) {
      EXPECT_EQ(hr, kTypeNotBuilt) << more;
      continue;
    }
    ASSERT_EQ(hr, S_OK) << more;
    EXPECT_EQ(type.cbFormat, block_bytes) << more;
    // biSize tells the whole length all the same.
    EXPECT_EQ(reinterpret_cast<const VIDEOINFOHEADER*>(type.pbFormat)->bmiHeader.biSize, 40 + list_bytes);
  }
}

TEST(MediaType, FrameRateIsThatOverTheLongerTrack) {
  TrackDescription ten_minutes = test::amr_track(1);
  ten_minutes.replaced["mdhd"] = test::mdhd({.time_scale = 8000, .duration = 600 * 8000});
  TrackDescription unknown = test::avc_track(10);
  unknown.replaced["mdhd"] = test::mdhd({.duration = 0});
  const std::tuple<std::string, std::vector<TrackDescription>, REFERENCE_TIME> kCases[] = {
      {"video alone, 10 frames in 1 s", {test::avc_track(10)}, 1000000},
      {"required: audio of 4 s", {test::avc_track(10), test::amr_track(200)}, 4000000},
      {"audio of 20 ms", {test::avc_track(10), test::amr_track(1)}, 1000000},
      {"one picture, more than 32 bits", {test::avc_track(1), ten_minutes}, 6000000000},
      {"unknown duration", {unknown}, 0},
  };
  for (const auto& [name, tracks, time_per_frame] : kCases) {
    FilterUnderTest under_test(test::MovieDescription{.tracks = tracks});
    CMediaType type;
    ASSERT_EQ(under_test.pin(under_test.pin_count() - 1).GetMediaType(0, &type), S_OK) << name;
    const auto* header = reinterpret_cast<const VIDEOINFOHEADER*>(type.pbFormat);
    EXPECT_EQ(header->AvgTimePerFrame, time_per_frame) << name;
  }
}

}  // namespace
}  // namespace zdr::tests
