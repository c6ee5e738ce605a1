// The media type of every codec, to the byte, and the buffers that its samples need.
#include <gtest/gtest.h>

#include "filters/source/mp4/interfaces/played_codecs.h"
#include "filters/source/mp4/media_types/media_type.h"
#include "mediakit/aac/stream_builder.h"
#include "tests/filters/codecs.h"
#include "tests/filters/debugger_texts.h"
#include "tests/platform/fault_at.h"
#include "tests/support/failing_allocator.h"

namespace zdr::test {
namespace {

using namespace mp4source;

TEST(MediaType, KeptBlocksOfEveryCodec) {
  for (const Codec& codec : every_codec()) {
    SCOPED_TRACE(codec.name);
    FilterUnderTest under_test(codec.track);
    CZanMP4SourceOutputPin& pin = under_test.pin(0);
    // The content of an existing block of the same length must not appear in the new one.
    CMediaType type;
    std::memset(type.AllocFormatBuffer(static_cast<ULONG>(codec.block.size())), 0x55, codec.block.size());
    ASSERT_EQ(pin.GetMediaType(0, &type), S_OK);
    EXPECT_EQ(type.majortype, codec.is_video() ? MEDIATYPE_Video : MEDIATYPE_Audio);
    EXPECT_TRUE(type.subtype == codec.subtype && type.formattype == codec.format_type);
    EXPECT_EQ(type.bTemporalCompression != FALSE, codec.is_video());
    EXPECT_EQ(type.bFixedSizeSamples != FALSE, !codec.is_video());
    EXPECT_EQ(block_of(type), codec.block);
    EXPECT_EQ(pin.CheckMediaType(&type), S_OK);
    EXPECT_EQ(pin.GetMediaType(1, &type), VFW_S_NO_MORE_ITEMS);
    EXPECT_EQ(pin.GetMediaType(-1, &type), E_INVALIDARG);
  }
}

TEST(MediaType, KeptSecondAacTypeHasTheBytesThatWereParsed) {
  const Bytes padded = concat({kParametricStereo, {0x99, 0x98}});
  FilterUnderTest under_test(aac_track_with(padded));
  CMediaType type;
  for (const Bytes& configuration : {padded, kParametricStereo}) {
    ASSERT_EQ(under_test.media_type(type), S_OK);
    EXPECT_EQ(block_of(type), aac_block(configuration, sample_content(1, 1, 40)));
    EXPECT_EQ(under_test.pin(0).CheckMediaType(&type), S_OK);
  }
}

TEST(MediaType, KeptBlockSizesWrapAt64KiB) {
  const auto expect_size = [](const TrackDescription& track, size_t content_bytes, size_t fixed_bytes,
                              CMediaType& type) {
    FilterUnderTest under_test(track);
    const size_t block_bytes = (content_bytes + fixed_bytes) % 65536;
    const HRESULT hr = under_test.media_type(type);
    EXPECT_EQ(hr, block_bytes < fixed_bytes ? kTypeNotBuilt : S_OK) << content_bytes;
    EXPECT_TRUE(FAILED(hr) || type.cbFormat == block_bytes) << content_bytes;
    return SUCCEEDED(hr);
  };
  CMediaType type;
  for (const uint32_t unit_size : {65505u, 65506u, 65531u, 65532u, 65600u}) {
    if (!expect_size(aac_track_with(kParametricStereo, unit_size), 4 + unit_size, 26, type)) continue;
    Bytes expected = aac_block(kParametricStereo, sample_content(1, 1, unit_size));
    expected.resize(type.cbFormat);
    EXPECT_EQ(block_of(type), expected) << unit_size;
  }
  constexpr size_t kUnitLength = 65441;  // with its length field, 3 bytes before the wrap
  for (const size_t more : {0u, 2u, 3u, 100u}) {
    TrackDescription track = avc_track(2);
    track.sample_entries = {
        video_entry("avc1", 176, 144, avcc({.sps = {Bytes(kUnitLength, 7)}, .pps = {Bytes(more, 8)}}))};
    const size_t list_bytes = kUnitLength + more + 4;
    if (!expect_size(track, list_bytes, 90, type)) continue;
    // biSize has the whole length.
    EXPECT_EQ(reinterpret_cast<const VIDEOINFOHEADER*>(type.pbFormat)->bmiHeader.biSize, 40 + list_bytes);
  }
}

TEST(MediaType, KeptAacWithoutUsableConfigurationEndsTheListOfTypes) {
  // Configurations: object type 1; none; one that needs the first unit to show parametric stereo, and that
  // unit does not parse.
  for (const Bytes& configuration : {Bytes{0x0A, 0x10}, Bytes{}, Bytes{0x12, 0x10}}) {
    FilterUnderTest under_test(aac_track_with(configuration));
    CMediaType type;
    EXPECT_EQ(under_test.media_type(type), VFW_S_NO_MORE_ITEMS);
  }
}

// Includes tracks with a general record, which lacks the sizes and lists that the codec of its object type
// needs.
TEST(MediaType, KeptPinsOfOtherCodecsExistAndOfferNothing) {
  const auto video_of_type = [](uint8_t object_type) {
    return video_track(video_entry("mp4v", 16, 16, esds({.object_type = object_type, .stream_type = 4})));
  };
  const std::tuple<std::string, TrackDescription, TrackDescription> kCases[] = {
      {"MP3", audio_track(audio_entry(".mp3", 2, 44100)), track_of("H.263")},
      {"AMR-WB+", speech_track("sawp", dawp(0x5A414E44, 1)), track_of("H.263")},
      {"MPEG-1 video", video_of_type(0x6A), track_of("MPEG-4 visual")},
      {"H.263 by its object type alone", video_of_type(0xC2), track_of("H.263")},
      {"AVC by its object type alone", video_of_type(0x7F), avc_track(10)},
      {"AC-3 by its object type alone",
       audio_track(audio_entry("mp4a", 2, 8000, esds({.object_type = 0xFC}))), track_of("H.263")},
  };
  for (const auto& [name, track, accepted_elsewhere] : kCases) {
    FilterUnderTest under_test(track);
    CMediaType type;
    EXPECT_EQ(under_test.media_type(type), kTypeNotBuilt) << name;
    FilterUnderTest offering(accepted_elsewhere);
    ASSERT_EQ(offering.media_type(type), S_OK);
    EXPECT_EQ(under_test.pin(0).CheckMediaType(&type), E_FAIL) << name;
  }
  EXPECT_FALSE(is_played_object_type(P3GPP_OTI_MP3)) << "for the host's messages";
}

// Without memory for the block or for the first sample, and with a first sample after the end of the file.
TEST(MediaType, KeptEachFailureHasItsStatus) {
  for (const Codec& codec : every_codec()) {
    SCOPED_TRACE(codec.name);
    FilterUnderTest under_test(codec.track);
    CMediaType type;
    {
      const FaultAt fault(platform::FaultPoint::kTaskAllocation, 1);
      EXPECT_EQ(under_test.media_type(type), codec.no_memory);
    }
    if (!codec.reads_a_sample) continue;
    {
      const DebuggerTexts texts;
      const FailingAllocator fault(1);
      EXPECT_EQ(under_test.media_type(type), E_OUTOFMEMORY);
      EXPECT_EQ(texts.all(), codec.is_video() ? u"Getmedia type Returns outof memory " : u"");
    }
    TrackDescription unreadable = codec.track;
    unreadable.replaced["stco"] = stco(std::vector<uint64_t>(10, 1u << 20));
    EXPECT_EQ(FilterUnderTest(unreadable).media_type(type), kTypeNotBuilt);
  }
}

TEST(MediaType, KeptFrameRateUsesTheLongerTrack) {
  TrackDescription ten_minutes = amr_track(1);
  ten_minutes.replaced["mdhd"] = mdhd({.time_scale = 8000, .duration = 600 * 8000});
  TrackDescription unknown = avc_track(10);
  unknown.replaced["mdhd"] = mdhd({.duration = 0});
  const std::tuple<std::string, std::vector<TrackDescription>, REFERENCE_TIME> kCases[] = {
      {"video alone, 10 frames in 1 s", {avc_track(10)}, 1000000},
      {"audio of 4 s", {avc_track(10), amr_track(200)}, 4000000},
      {"audio of 20 ms", {avc_track(10), amr_track(1)}, 1000000},
      {"one picture, more than 32 bits", {avc_track(1), ten_minutes}, 6000000000},
      {"unknown duration", {unknown}, 0},
  };
  for (const auto& [name, tracks, time_per_frame] : kCases) {
    FilterUnderTest under_test(MovieDescription{.tracks = tracks});
    CMediaType type;
    ASSERT_EQ(under_test.media_type(type, under_test.pin_count() - 1), S_OK) << name;
    const auto* header = reinterpret_cast<const VIDEOINFOHEADER*>(type.pbFormat);
    EXPECT_EQ(header->AvgTimePerFrame, time_per_frame) << name;
  }
}

// --- Buffers ---

// What an allocator grants.
struct Grant {
  HRESULT result = S_OK;
  LONG missing_buffers = 0;
  LONG missing_bytes = 0;
  LONG lowered_request = 0;  // bytes by which it lowers cbBuffer in both records
};

class FakeAllocator final : public CMemAllocator {
 public:
  explicit FakeAllocator(Grant grant = {}, HRESULT hr = S_OK)
      : CMemAllocator(NAME("FakeAllocator"), nullptr, &hr), grant_(grant) {}

  ALLOCATOR_PROPERTIES requested{};

  HRESULT SetProperties(ALLOCATOR_PROPERTIES* request, ALLOCATOR_PROPERTIES* actual) override {
    requested = *actual = *request;
    request->cbBuffer -= grant_.lowered_request;
    actual->cbBuffer -= grant_.lowered_request + grant_.missing_bytes;
    actual->cBuffers -= grant_.missing_buffers;
    return grant_.result;
  }

 private:
  const Grant grant_;
};

TEST(BufferSize, KeptAudioHasRoomForTenUnits) {
  const auto expect_bytes = [](const std::string& name, TrackDescription track, LONG bytes) {
    track.sizes = {10, 900, 20};
    FilterUnderTest under_test(track);
    FakeAllocator allocator;
    ALLOCATOR_PROPERTIES properties{.cBuffers = 7, .cbBuffer = 1, .cbAlign = 16, .cbPrefix = 3};
    EXPECT_EQ(under_test.pin(0).DecideBufferSize(&allocator, &properties), S_OK) << name;
    const auto& [buffers, size, alignment, prefix] = allocator.requested;
    EXPECT_EQ(std::tuple(buffers, size, alignment, prefix), std::tuple(4, bytes, 16, 3)) << name;
  };
  for (const Codec& codec : every_codec()) {
    expect_bytes(codec.name, codec.track, codec.is_video() ? 900 : codec.has_size_table() ? 9020 : 9000);
  }
  const Bytes aac_video = video_entry(
      "mp4v", 16, 16, esds({.object_type = 0x40, .stream_type = 4, .decoder_specific_info = {0x11, 0x90}}));
  expect_bytes("video with the object type of AAC has no size table", video_track(aac_video), 900);
}

TEST(BufferSize, RefusesLessThanTheRequest) {
  FilterUnderTest under_test(amr_track(3));
  const std::pair<Grant, HRESULT> kCases[] = {{{.result = VFW_E_ALREADY_COMMITTED}, VFW_E_ALREADY_COMMITTED},
                                              {{.missing_buffers = 1}, E_FAIL},
                                              {{.missing_bytes = 1}, E_FAIL},
                                              {{.lowered_request = 1}, E_FAIL},
                                              {{.missing_buffers = -1, .missing_bytes = -1}, S_OK},
                                              {{.result = S_FALSE}, S_FALSE}};
  for (const auto& [grant, expected] : kCases) {
    FakeAllocator allocator(grant);
    ALLOCATOR_PROPERTIES properties{};
    EXPECT_EQ(under_test.pin(0).DecideBufferSize(&allocator, &properties), expected);
  }
}

TEST(BufferSize, NeedsASampleSizeThatTheFileCanHold) {
  TrackDescription lying = amr_track(2);
  lying.replaced["stsz"] = constant_stsz(0xFFFFFFFF, 2);
  const Bytes bytes = build_movie(lying).bytes;
  // Ten times the larger size is more than a LONG can hold.
  const std::tuple<Bytes, uint64_t, HRESULT> kCases[] = {
      {bytes, bytes.size(), S_OK},
      {bytes, 300'000'000, E_OUTOFMEMORY},
      {build_movie(amr_track(3, 0)).bytes, 100'000, HRESULT{-1}}};
  for (const auto& [content, file_size, result] : kCases) {
    FilterUnderTest under_test;
    const auto path = under_test.write(content, "clip.mp4");
    std::filesystem::resize_file(path, file_size);
    ASSERT_EQ(under_test.load(path), S_OK);
    FakeAllocator allocator;
    ALLOCATOR_PROPERTIES properties{};
    EXPECT_EQ(under_test.pin(0).DecideBufferSize(&allocator, &properties), result);
    EXPECT_EQ(allocator.requested.cbBuffer, result == S_OK ? static_cast<LONG>(file_size * 10) : 0);
  }
}

TEST(BufferSize, IsUnknownWhereTheSizesCannotBeRead) {
  const Bytes movie = build_movie(amr_track(20000)).bytes;  // more sizes than are cached
  int unknown = 0;
  bool triggered = true;
  for (int n = 1; triggered; ++n) {
    FilterUnderTest under_test;
    const FaultAt fault(platform::FaultPoint::kFileRead, n);
    const HRESULT loaded = under_test.load(movie);
    triggered = fault.triggered();
    FakeAllocator allocator;
    ALLOCATOR_PROPERTIES properties{};
    if (loaded == S_OK && under_test.pin(0).DecideBufferSize(&allocator, &properties) == -1) ++unknown;
  }
  EXPECT_GT(unknown, 0);
}

TEST(BufferSize, KeptAacFileHasNoneBeforeItsTypeWasBuilt) {
  FilterUnderTest under_test;
  ASSERT_EQ(under_test.load(adts_file(20, 400), "clip.aac"), S_OK);
  FakeAllocator allocator;
  ALLOCATOR_PROPERTIES properties{};
  EXPECT_EQ(under_test.pin(0).DecideBufferSize(&allocator, &properties), HRESULT{-1});
  CMediaType type;
  ASSERT_EQ(under_test.media_type(type), S_OK);
  EXPECT_EQ(under_test.pin(0).DecideBufferSize(&allocator, &properties), S_OK);
  EXPECT_EQ(allocator.requested.cbBuffer, 10 * 1024 * 2 * 2);
}

}  // namespace
}  // namespace zdr::test
