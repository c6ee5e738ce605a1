// The private interface: clips by name, their information, their key frames.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <thread>

#include "filters/source/mp4/interfaces/zandor_video_source.h"
#include "filters/source/mp4/interfaces/zdr_guids.h"
#include "tests/esparse/aac/stream_builder.h"
#include "tests/filters/codec_tracks.h"
#include "tests/filters/sink_graph.h"
#include "tests/support/failing_allocator.h"

namespace zdr::tests {
namespace {

using mp4source::ClipHandle;
using mp4source::ClipInfo;
using mp4source::IAMZandorVideoSource;
using test::Bytes;
using test::MovieDescription;
using test::TrackDescription;

constexpr DWORD kUntouched = 0x55555555;

ClipInfo untouched_info() {
  ClipInfo info;
  std::memset(&info, 0x55, sizeof info);
  return info;
}

// The interface of a filter, and files beside it.
class Clips {
 public:
  Clips() {
    EXPECT_EQ(under_test.filter->QueryInterface(mp4source::kIidZandorVideoSource, source.out_void()), S_OK);
  }
  std::u16string write(const std::string& name, const Bytes& bytes) {
    const std::filesystem::path path = under_test.folder / name;
    write_file(path, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    return wide(path.string());
  }
  std::u16string write(const MovieDescription& movie) {
    return write("clip.3gp", test::build_movie(movie).bytes);
  }

  FilterUnderTest under_test;
  com::ComPtr<IAMZandorVideoSource> source;
};

struct Opened {
  HRESULT result = S_OK;
  ClipHandle* clip = nullptr;
  bool has_configuration = false;
  Bytes configuration;
};

Bytes take(BYTE* bytes, DWORD size) {
  const Bytes copy(bytes, bytes + size);
  std::free(bytes);
  return copy;
}

Opened open(Clips& clips, const std::u16string& name) {
  Opened opened;
  BYTE* configuration = reinterpret_cast<BYTE*>(1);
  DWORD length = kUntouched;
  opened.result = clips.source->OpenClip(name.c_str(), &opened.clip, &configuration, &length);
  opened.has_configuration = configuration != nullptr;
  opened.configuration = take(configuration, length);
  return opened;
}

// The number of the sample that a key frame is; 0: the call failed.
uint32_t key_frame_number(Clips& clips, ClipHandle* clip, DWORD index) {
  BYTE* bytes = nullptr;
  DWORD size = 0;
  if (clips.source->GetKeyFrame(clip, index, &bytes, &size) != S_OK) return 0;
  const Bytes frame = take(bytes, size);
  for (uint32_t number = 1; number < 1000; ++number) {
    if (frame == test::sample_content(1, number, static_cast<uint32_t>(frame.size()))) return number;
  }
  return 1000;
}

TEST(Clips, TellTheConfigurationOfTheirVideo) {
  const Bytes h263_first = test::sample_content(1, 1, 20);
  const struct {
    std::string name;
    std::vector<TrackDescription> tracks;
    HRESULT result;
    Bytes configuration;
  } kCases[] = {
      {"MPEG-4 visual", {mpeg4_visual_track()}, S_OK, {0, 0, 1, 0xB0, 3}},
      {"AVC", {test::avc_track(3)}, S_OK, {3, 0, 0, 4, 0x67, 0x42, 0xC0, 0x1E, 0, 2, 0x68, 0xCE}},
      {"required: the first sample of H.263", {h263_track()}, S_OK, h263_first},
      {"no video", {test::amr_track(3)}, S_OK, {}},
      {"no codec", {video_track(test::video_entry("hev1", 176, 144))}, E_FAIL, {}},
  };
  for (const auto& each : kCases) {
    SCOPED_TRACE(each.name);
    Clips clips;
    const Opened opened = open(clips, clips.write({.tracks = each.tracks}));
    EXPECT_EQ(opened.result, each.result);
    EXPECT_EQ(opened.clip != nullptr, each.result == S_OK);
    EXPECT_EQ(opened.configuration, each.configuration);
    EXPECT_EQ(opened.has_configuration, !each.configuration.empty());
    EXPECT_EQ(clips.source->CloseClip(opened.clip), each.result);
  }
}

// Fields that a clip does not have stay as they were.
TEST(Clips, TellWhatTheyAre) {
  const TrackDescription avc = test::avc_track(50);  // 100 ms a frame
  const TrackDescription aac = test::aac_track(100);
  struct Expected {
    DWORD video_codec, audio_codec;
    WORD width, height;
    double frame_rate;
    DWORD duration_ms, sample_rate, channels, sl_config_length;
  };
  constexpr DWORD kNone = kUntouched;
  constexpr WORD kNoSize = 0x5555;
  const double no_rate = untouched_info().frame_rate;
  const struct {
    std::string name;
    std::vector<TrackDescription> tracks;
    Expected expected;
  } kCases[] = {
      {"AVC and AAC", {avc, aac}, {5, 4, 176, 144, 10.0, 5000, 44100, 2, kNone}},
      {"H.263", {h263_track()}, {2, kNone, 176, 144, 10.0, 1000, kNone, kNone, kNone}},
      // The size is that of the track header, height first.
      {"MPEG-4 visual", {mpeg4_visual_track()}, {1, kNone, 352, 288, 10.0, 1000, kNone, kNone, 1}},
      {"AMR", {test::amr_track(50)}, {kNone, 3, kNoSize, kNoSize, no_rate, 1000, 8000, 1, kNone}},
      {"AMR-WB", {amr_wb_track(50)}, {kNone, 7, kNoSize, kNoSize, no_rate, 1000, 16000, 1, kNone}},
      {"QCELP", {qcelp_track(50)}, {kNone, 6, kNoSize, kNoSize, no_rate, 1000, 8000, 1, kNone}},
      {"AC-3", {ac3_track()}, {kNone, kNone, kNoSize, kNoSize, no_rate, 200, kNone, kNone, kNone}},
  };
  for (const auto& each : kCases) {
    SCOPED_TRACE(each.name);
    Clips clips;
    const Opened opened = open(clips, clips.write({.tracks = each.tracks}));
    ASSERT_EQ(opened.result, S_OK);
    ClipInfo info = untouched_info();
    EXPECT_EQ(clips.source->GetClipInfo(opened.clip, &info), S_OK);
    EXPECT_EQ(info.video_codec, each.expected.video_codec);
    EXPECT_EQ(info.audio_codec, each.expected.audio_codec);
    EXPECT_EQ(info.width, each.expected.width);
    EXPECT_EQ(info.height, each.expected.height);
    EXPECT_EQ(info.frame_rate, each.expected.frame_rate);
    EXPECT_EQ(info.duration_ms, each.expected.duration_ms);
    EXPECT_EQ(info.sample_rate, each.expected.sample_rate);
    EXPECT_EQ(info.channels, each.expected.channels);
    EXPECT_EQ(info.sl_config_length, each.expected.sl_config_length);
    EXPECT_EQ(info.sl_config, each.expected.sl_config_length == kNone ? kUntouched : 0);
    clips.source->CloseClip(opened.clip);
  }
}

TEST(Clips, OfSpeechFiles) {
  const struct {
    std::string name;
    std::string content;
    DWORD codec, rate;
  } kCases[] = {{"clip.amr", "#!AMR\n" + std::string(64, '\x3C'), 3, 8000},
                {"clip.awb", "#!AMR-WB\n" + std::string(36, '\x04'), 7, 16000}};
  for (const auto& each : kCases) {
    Clips clips;
    const Opened opened =
        open(clips, clips.write(each.name, Bytes(each.content.begin(), each.content.end())));
    ASSERT_EQ(opened.result, S_OK);
    EXPECT_FALSE(opened.has_configuration);
    ClipInfo info = untouched_info();
    EXPECT_EQ(clips.source->GetClipInfo(opened.clip, &info), S_OK);
    EXPECT_EQ(info.audio_codec, each.codec);
    EXPECT_EQ(info.sample_rate, each.rate);
    EXPECT_EQ(info.channels, 1u);
    EXPECT_EQ(info.duration_ms, 40u);
    EXPECT_EQ(info.video_codec, kUntouched);
    EXPECT_EQ(info.width, 0x5555);
    EXPECT_EQ(key_frame_number(clips, opened.clip, 1), 0u);
    EXPECT_EQ(clips.source->CloseClip(opened.clip), S_OK);
  }
}

TEST(Clips, OfAacFiles) {
  Clips clips;
  const Opened opened = open(clips, clips.write("clip.aac", aacf::test::adts_file(100, 400)));
  ASSERT_EQ(opened.result, S_OK);
  EXPECT_FALSE(opened.has_configuration);
  ClipInfo info = untouched_info();
  EXPECT_EQ(clips.source->GetClipInfo(opened.clip, &info), S_OK);
  EXPECT_EQ(info.audio_codec, 4u);
  EXPECT_EQ(info.sample_rate, 44100u);
  EXPECT_EQ(info.channels, 2u);
  EXPECT_EQ(info.duration_ms, 2321u);
  EXPECT_EQ(info.video_codec, kUntouched);
  EXPECT_EQ(key_frame_number(clips, opened.clip, 1), 0u);
  EXPECT_EQ(clips.source->CloseClip(opened.clip), S_OK);
  EXPECT_EQ(open(clips, clips.write("none.aac", Bytes(1000, 'x'))).result, E_FAIL);
}

TEST(Clips, RequiredUnknownExtensionOpensToAHandleOfNoUse) {
  Clips clips;
  const Opened opened = open(clips, u"nowhere.wav");
  EXPECT_EQ(opened.result, S_OK);
  ASSERT_NE(opened.clip, nullptr);
  EXPECT_EQ(opened.clip->reader, nullptr);
  ClipInfo info = untouched_info();
  EXPECT_EQ(clips.source->GetClipInfo(opened.clip, &info), S_OK);
  EXPECT_EQ(info.duration_ms, kUntouched);
  EXPECT_EQ(key_frame_number(clips, opened.clip, 1), 0u);
  EXPECT_EQ(clips.source->CloseClip(opened.clip), E_FAIL);  // and it is gone
}

TEST(Clips, RefuseWhatCannotBeOpened) {
  Clips clips;
  for (const std::string name : {"missing.3gp", "missing.amr", "missing.aac"}) {
    EXPECT_EQ(open(clips, wide((clips.under_test.folder / name).string())).result, E_FAIL) << name;
  }
  EXPECT_EQ(open(clips, clips.write("junk.mp4", Bytes(100, 7))).result, E_FAIL);
  ClipHandle* clip = nullptr;
  BYTE* bytes = nullptr;
  DWORD length = 0;
  EXPECT_EQ(clips.source->OpenClip(nullptr, &clip, &bytes, &length), E_POINTER);
  EXPECT_EQ(clips.source->OpenClip(u"x.mp4", nullptr, &bytes, &length), E_POINTER);
  EXPECT_EQ(clips.source->OpenClip(u"x.mp4", &clip, nullptr, &length), E_POINTER);
  EXPECT_EQ(clips.source->OpenClip(u"x.mp4", &clip, &bytes, nullptr), E_POINTER);
  ClipInfo info = untouched_info();
  EXPECT_EQ(clips.source->GetClipInfo(nullptr, nullptr), E_POINTER);
  EXPECT_EQ(clips.source->GetClipInfo(nullptr, &info), E_HANDLE);
  EXPECT_EQ(clips.source->GetKeyFrame(nullptr, 1, &bytes, &length), E_HANDLE);
  EXPECT_EQ(clips.source->CloseClip(nullptr), E_FAIL);
  const Opened opened = open(clips, clips.write({.tracks = {test::avc_track(3)}}));
  EXPECT_EQ(clips.source->GetKeyFrame(opened.clip, 1, nullptr, &length), E_POINTER);
  EXPECT_EQ(clips.source->GetKeyFrame(opened.clip, 1, &bytes, nullptr), E_POINTER);
  EXPECT_EQ(clips.source->CloseClip(opened.clip), S_OK);
}

TEST(Clips, GiveTheirKeyFrames) {
  const struct {
    std::string name;
    std::vector<uint32_t> sync_samples;
    bool has_table;
    std::vector<DWORD> indexes;
    std::vector<uint32_t> numbers;
  } kCases[] = {
      {"sparse", {1, 11, 21}, true, {1, 2, 3, 2, 1}, {1, 11, 21, 11, 1}},
      {"required: the first sample is the first, key frame or not", {5, 15}, true, {1, 2, 3}, {1, 5, 15}},
      {"required: beyond the last one, the last", {1, 11}, true, {3, 1000}, {11, 11}},
      // Every sample is a key frame, so each index is that sample; there is none beyond the end.
      {"no table", {}, false, {1, 2, 7, 30}, {1, 2, 7, 30}},
  };
  for (const auto& each : kCases) {
    SCOPED_TRACE(each.name);
    TrackDescription track = test::avc_track(30);
    track.sync_samples = each.sync_samples;
    track.has_sync_table = each.has_table;
    Clips clips;
    const Opened opened = open(clips, clips.write({.tracks = {track}}));
    ASSERT_EQ(opened.result, S_OK);
    for (size_t i = 0; i < each.indexes.size(); ++i) {
      EXPECT_EQ(key_frame_number(clips, opened.clip, each.indexes[i]), each.numbers[i]) << each.indexes[i];
    }
    clips.source->CloseClip(opened.clip);
  }
}

TEST(Clips, RequiredKeyFramesOfADenseTableDependOnTheQuestionsBefore) {
  TrackDescription track = test::avc_track(30);
  for (uint32_t number = 1; number <= 30; ++number) track.sync_samples.push_back(number);
  Clips clips;
  const Opened opened = open(clips, clips.write({.tracks = {track}}));
  std::vector<uint32_t> numbers;
  for (const DWORD index : {3u, 2u, 2u, 5u}) numbers.push_back(key_frame_number(clips, opened.clip, index));
  EXPECT_EQ(numbers, (std::vector<uint32_t>{3, 3, 3, 6}));
  clips.source->CloseClip(opened.clip);
}

TEST(Clips, ReadNoMoreThanTheFileHas) {
  TrackDescription track = test::avc_track(3);
  Bytes bytes = test::build_movie(track).bytes;
  bytes.resize(bytes.size() - 10);  // of the last sample
  Clips clips;
  const Opened opened = open(clips, clips.write("cut.mp4", bytes));
  EXPECT_EQ(key_frame_number(clips, opened.clip, 2), 2u);
  EXPECT_EQ(key_frame_number(clips, opened.clip, 3), 0u);
  clips.source->CloseClip(opened.clip);

  track.replaced["stsz"] = test::stsz({20, 0, 0xFFFFFFFF});
  track.sizes = {20, 0, 20};
  const Opened lying = open(clips, clips.write({.tracks = {track}}));
  ASSERT_EQ(lying.result, S_OK);
  BYTE* frame = nullptr;
  DWORD size = kUntouched;
  EXPECT_EQ(clips.source->GetKeyFrame(lying.clip, 2, &frame, &size), S_OK);
  EXPECT_EQ(size, 0u);
  EXPECT_TRUE(take(frame, size).empty());
  EXPECT_EQ(key_frame_number(clips, lying.clip, 3), 0u);
  clips.source->CloseClip(lying.clip);
}

TEST(Clips, WithoutMemoryOpenNothing) {
  Clips clips;
  const std::u16string names[] = {clips.write({.tracks = {mpeg4_visual_track()}}),
                                  clips.write("clip.amr", {'#', '!', 'A', 'M', 'R', '\n'})};
  for (const std::u16string& name : names) {
    for (uint64_t nth = 1;; ++nth) {
      ASSERT_LT(nth, 1000u);
      ClipHandle* clip = nullptr;
      BYTE* configuration = nullptr;
      DWORD length = 0;
      HRESULT result = S_OK;
      bool struck = false;
      {
        const test::FailingAllocator fault(nth);
        result = clips.source->OpenClip(name.c_str(), &clip, &configuration, &length);
        struck = fault.struck();
      }
      // Required: the file manager's own number.
      EXPECT_TRUE(nth > 1 || result == -6001) << result;
      EXPECT_EQ(clip != nullptr, result == S_OK) << nth;
      take(configuration, length);
      EXPECT_EQ(clips.source->CloseClip(clip), clip != nullptr ? S_OK : E_FAIL);
      if (!struck) break;
    }
  }
}

// Required: the filter goes by the kind of the last clip. The clips themselves do not.
TEST(Clips, RequiredShareTheKindOfTheFilter) {
  SinkGraph graph({.tracks = {test::amr_track(100), test::avc_track(20)}});
  Clips clips;
  com::ComPtr<IAMZandorVideoSource> source;
  ASSERT_EQ(graph.under_test.filter->QueryInterface(mp4source::kIidZandorVideoSource, source.out_void()),
            S_OK);
  clips.source = source;
  const Opened movie = open(clips, clips.write({.tracks = {test::avc_track(4)}}));
  const std::string text = "#!AMR\n" + std::string(64, '\x3C');
  const Opened speech = open(clips, clips.write("clip.amr", Bytes(text.begin(), text.end())));
  ASSERT_EQ(speech.result, S_OK);
  // What the filter plays ends: it has no speech file.
  graph.run();
  ASSERT_TRUE(graph.wait_for_ends());
  EXPECT_TRUE(graph.segment(0).empty() && graph.segment(1).empty());
  graph.stop();
  CMediaType type;
  EXPECT_LT(graph.under_test.pin(0).GetMediaType(0, &type), 0);
  EXPECT_EQ(key_frame_number(clips, movie.clip, 4), 4u);
  ClipInfo info = untouched_info();
  EXPECT_EQ(source->GetClipInfo(movie.clip, &info), S_OK);
  EXPECT_EQ(info.video_codec, mp4source::kClipAvcVideo);
  EXPECT_EQ(source->CloseClip(movie.clip), S_OK);
  EXPECT_EQ(source->CloseClip(speech.clip), S_OK);

  const Opened back = open(clips, clips.write({.tracks = {test::avc_track(4)}}));
  EXPECT_EQ(source->CloseClip(back.clip), S_OK);
  graph.run();
  ASSERT_TRUE(graph.wait_for_ends());
  EXPECT_FALSE(graph.segment(1).empty());
}

TEST(Clips, WhileTheFilterPlays) {
  SinkGraph graph({.tracks = {test::amr_track(4000), test::avc_track(800)}});
  Clips clips;
  com::ComPtr<IAMZandorVideoSource> source;
  ASSERT_EQ(graph.under_test.filter->QueryInterface(mp4source::kIidZandorVideoSource, source.out_void()),
            S_OK);
  clips.source = source;
  const std::u16string name = clips.write({.tracks = {test::avc_track(4)}});
  graph.run();
  const auto use = [&] {
    for (int i = 0; i < 20; ++i) {
      const Opened opened = open(clips, name);
      ClipInfo info = untouched_info();
      EXPECT_EQ(source->GetClipInfo(opened.clip, &info), S_OK);
      EXPECT_EQ(key_frame_number(clips, opened.clip, 3), 3u);
      EXPECT_EQ(source->CloseClip(opened.clip), S_OK);
    }
  };
  std::thread other(use);
  use();
  other.join();
  ASSERT_TRUE(graph.wait_for_ends());
  EXPECT_EQ(graph.sink(0).sample_count(), 400u);
  EXPECT_EQ(graph.sink(1).sample_count(), 800u);
}

}  // namespace
}  // namespace zdr::tests
