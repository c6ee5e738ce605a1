// The private interface: clips by name, their information, their key frames.
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "filters/source/mp4/interfaces/zandor_video_source.h"
#include "filters/source/mp4/interfaces/zdr_guids.h"
#include "mediakit/aac/stream_builder.h"
#include "mediakit/files/speech_file.h"
#include "os/os.h"
#include "tests/filters/codec_tracks.h"
#include "tests/filters/sink_graph.h"
#include "tests/support/failing_allocator.h"

namespace zdr::tests {
namespace {

using mp4source::ClipHandle;
using mp4source::ClipInfo;
using mp4source::IAMZandorVideoSource;
using test::TrackDescription;

constexpr DWORD kUntouched = 0x55555555;

ClipInfo untouched_info() {
  ClipInfo info;
  std::memset(&info, 0x55, sizeof info);
  return info;
}

std::array<double, 10> fields_of(const ClipInfo& info) {
  return {double(info.video_codec),     double(info.audio_codec), double(info.width),
          double(info.height),          info.frame_rate,          double(info.duration_ms),
          double(info.sample_rate),     double(info.channels),    double(info.sl_config),
          double(info.sl_config_length)};
}

Bytes movie(const std::vector<TrackDescription>& tracks) {
  return test::build_movie({.tracks = tracks}).bytes;
}
Bytes narrow_band() {
  return speech(false, 2, 0x3C).bytes();
}

Bytes take(BYTE* bytes, DWORD size) {
  const Bytes copy(bytes, bytes + size);
  std::free(bytes);
  return copy;
}

struct CloseClip {
  IAMZandorVideoSource* source;
  void operator()(ClipHandle* clip) const { EXPECT_EQ(source->CloseClip(clip), S_OK); }
};
using ClipPointer = std::unique_ptr<ClipHandle, CloseClip>;

struct Opened {
  HRESULT result;
  ClipPointer clip;
  bool has_configuration;
  Bytes configuration;
};

// The interface of a filter, and files beside it.
class Clips {
 public:
  explicit Clips(IBaseFilter* filter = nullptr) {
    IBaseFilter& of = filter != nullptr ? *filter : *under_test_.filter.get();
    EXPECT_EQ(of.QueryInterface(mp4source::kIidZandorVideoSource, source.out_void()), S_OK);
  }
  std::u16string write(const std::string& name, const Bytes& bytes) {
    const std::filesystem::path path = folder / name;
    write_file(path, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    return wide(path.string());
  }
  Opened open(const std::u16string& name) {
    ClipHandle* clip = reinterpret_cast<ClipHandle*>(1);
    BYTE* configuration = reinterpret_cast<BYTE*>(1);
    DWORD length = kUntouched;
    const HRESULT result = source->OpenClip(name.c_str(), &clip, &configuration, &length);
    const bool has_configuration = configuration != nullptr;
    return {result, {clip, CloseClip{source.get()}}, has_configuration, take(configuration, length)};
  }
  Opened open(const std::string& name, const Bytes& bytes) { return open(write(name, bytes)); }

  // The number of the sample that a key frame is; 0: the call failed.
  uint32_t key_frame(const Opened& opened, DWORD index) {
    BYTE* bytes = nullptr;
    DWORD size = 0;
    if (source->GetKeyFrame(opened.clip.get(), index, &bytes, &size) != S_OK) return 0;
    const Bytes frame = take(bytes, size);
    uint32_t number = 1;
    while (frame != test::sample_content(1, number, size) && number < 1000) ++number;
    return number;
  }

  TempFolder folder;
  com::ComPtr<IAMZandorVideoSource> source;

 private:
  FilterUnderTest under_test_;
};

// Fields that a clip does not have stay as they were.
TEST(Clips, TellWhatTheyAreAndTheConfigurationOfTheirVideo) {
  const auto video = [](DWORD codec, WORD width, WORD height, DWORD duration_ms) {
    ClipInfo info = untouched_info();
    info.video_codec = codec, info.width = width, info.height = height;
    info.frame_rate = 10.0, info.duration_ms = duration_ms;
    return info;
  };
  const auto audio = [](DWORD codec, DWORD rate, DWORD duration_ms, ClipInfo info = untouched_info()) {
    info.audio_codec = codec, info.sample_rate = rate, info.channels = codec == 4 ? 2 : 1;
    info.duration_ms = duration_ms;
    return info;
  };
  ClipInfo mpeg4 = video(1, 352, 288, 1000);
  mpeg4.sl_config = 0, mpeg4.sl_config_length = 1;
  ClipInfo duration_alone = untouched_info();
  duration_alone.duration_ms = 200;
  const Bytes avc_lists = {3, 0, 0, 4, 0x67, 0x42, 0xC0, 0x1E, 0, 2, 0x68, 0xCE};
  const struct {
    std::string name;
    std::string file;
    Bytes content;
    ClipInfo info;
    Bytes configuration;
  } kCases[] = {
      {"AVC and AAC", "x.3gp", movie({test::avc_track(50), test::aac_track(100)}),
       audio(4, 44100, 5000, video(5, 176, 144, 5000)), avc_lists},
      {"required: the first sample of H.263", "x.MP4", movie({h263_track()}), video(2, 176, 144, 1000),
       test::sample_content(1, 1, 20)},
      {"MPEG-4 visual", "x.mp4", movie({mpeg4_visual_track()}), mpeg4, {0, 0, 1, 0xB0, 3}},
      {"AMR", "x.3gp", movie({test::amr_track(50)}), audio(3, 8000, 1000), {}},
      {"AMR-WB", "x.3gp", movie({amr_wb_track(50)}), audio(7, 16000, 1000), {}},
      {"QCELP", "x.3g2", movie({qcelp_track(50)}), audio(6, 8000, 1000), {}},
      {"AC-3", "x.mp4", movie({ac3_track()}), duration_alone, {}},
      {"speech", "x.amr", narrow_band(), audio(3, 8000, 40), {}},
      {"wide-band speech", "x.awb", speech(true, 3, 0x04).bytes(), audio(7, 16000, 60), {}},
      {"AAC file", "x.aac", aacf::test::adts_file(100, 400), audio(4, 44100, 2321), {}},
  };
  for (const auto& each : kCases) {
    SCOPED_TRACE(each.name);
    Clips clips;
    const Opened opened = clips.open(each.file, each.content);
    ASSERT_EQ(opened.result, S_OK);
    EXPECT_EQ(opened.configuration, each.configuration);
    EXPECT_EQ(opened.has_configuration, !each.configuration.empty());
    ClipInfo info = untouched_info();
    EXPECT_EQ(clips.source->GetClipInfo(opened.clip.get(), &info), S_OK);
    EXPECT_EQ(fields_of(info), fields_of(each.info));
    EXPECT_EQ(clips.key_frame(opened, 1), each.configuration.empty() ? 0u : 1u);
  }
}

TEST(Clips, RequiredUnknownExtensionOpensToAHandleOfNoUse) {
  Clips clips;
  Opened opened = clips.open(u"nowhere.wav");
  EXPECT_EQ(opened.result, S_OK);
  ASSERT_NE(opened.clip, nullptr);
  EXPECT_EQ(opened.clip->reader, nullptr);
  ClipInfo info = untouched_info();
  EXPECT_EQ(clips.source->GetClipInfo(opened.clip.get(), &info), S_OK);
  EXPECT_EQ(fields_of(info), fields_of(untouched_info()));
  EXPECT_EQ(clips.key_frame(opened, 1), 0u);
  EXPECT_EQ(clips.source->CloseClip(opened.clip.release()), E_FAIL);  // and it is gone
}

TEST(Clips, RefuseWhatCannotBeOpened) {
  Clips clips;
  for (const std::string name : {"missing.3gp", "missing.amr", "missing.aac"}) {
    EXPECT_EQ(clips.open(wide((clips.folder / name).string())).result, E_FAIL) << name;
  }
  const Bytes unknown = movie({video_track(test::video_entry("hev1", 176, 144))});
  const std::pair<std::string, Bytes> kFiles[] = {
      {"junk.mp4", Bytes(100, 7)}, {"x.aac", Bytes(1000, 'x')}, {"x.mp4", unknown}};
  for (const auto& [name, content] : kFiles) {
    const Opened opened = clips.open(name, content);
    EXPECT_EQ(opened.result, E_FAIL) << name;
    EXPECT_EQ(opened.clip, nullptr);
    EXPECT_FALSE(opened.has_configuration);
  }
  ClipHandle* clip = nullptr;
  BYTE* bytes = nullptr;
  DWORD length = 0;
  ClipInfo info = untouched_info();
  const Opened opened = clips.open("y.mp4", movie({test::avc_track(3)}));
  for (const HRESULT hr :
       {clips.source->OpenClip(nullptr, &clip, &bytes, &length),
        clips.source->OpenClip(u"x.mp4", nullptr, &bytes, &length),
        clips.source->OpenClip(u"x.mp4", &clip, nullptr, &length),
        clips.source->OpenClip(u"x.mp4", &clip, &bytes, nullptr), clips.source->GetClipInfo(nullptr, nullptr),
        clips.source->GetKeyFrame(opened.clip.get(), 1, nullptr, &length),
        clips.source->GetKeyFrame(opened.clip.get(), 1, &bytes, nullptr)}) {
    EXPECT_EQ(hr, E_POINTER);
  }
  EXPECT_EQ(clips.source->GetClipInfo(nullptr, &info), E_HANDLE);
  EXPECT_EQ(clips.source->GetKeyFrame(nullptr, 1, &bytes, &length), E_HANDLE);
  EXPECT_EQ(clips.source->CloseClip(nullptr), E_FAIL);
}

TEST(Clips, RequiredKeyFramesByTheirIndex) {
  std::vector<uint32_t> every;
  for (uint32_t number = 1; number <= 30; ++number) every.push_back(number);
  const std::tuple<std::string, std::vector<uint32_t>, std::vector<DWORD>, std::vector<uint32_t>> kCases[] = {
      {"sparse", {1, 11, 21}, {1, 2, 3, 2, 1, 0}, {1, 11, 21, 11, 1, 1}},
      {"the first sample is the first, key frame or not", {5, 15}, {1, 2, 3}, {1, 5, 15}},
      {"beyond the last one, the last", {1, 11}, {3, 1000}, {11, 11}},
      {"a dense table depends on the questions before", every, {3, 2, 2, 5}, {3, 3, 3, 6}},
      {"without a table every sample is one", {}, {1, 2, 7, 30, 31, 0xFFFFFFFF, 0}, {1, 2, 7, 30, 30, 30, 1}},
  };
  for (const auto& [name, sync_samples, indexes, numbers] : kCases) {
    SCOPED_TRACE(name);
    TrackDescription track = test::avc_track(30);
    track.sync_samples = sync_samples;
    Clips clips;
    const Opened opened = clips.open("x.mp4", movie({track}));
    ASSERT_EQ(opened.result, S_OK);
    for (size_t i = 0; i < indexes.size(); ++i) {
      EXPECT_EQ(clips.key_frame(opened, indexes[i]), numbers[i]) << indexes[i];
    }
  }
}

TEST(Clips, ReadNoMoreThanTheFileHas) {
  TrackDescription track = test::avc_track(3);
  Bytes bytes = movie({track});
  bytes.resize(bytes.size() - 10);  // of the last sample
  Clips clips;
  const Opened cut = clips.open("cut.mp4", bytes);
  EXPECT_EQ(clips.key_frame(cut, 2), 2u);
  EXPECT_EQ(clips.key_frame(cut, 3), 0u);

  track.replaced["stsz"] = test::stsz({20, 0, 0xFFFFFFFF});
  track.sizes = {20, 0, 20};
  const Opened lying = clips.open("lying.mp4", movie({track}));
  ASSERT_EQ(lying.result, S_OK);
  BYTE* frame = nullptr;
  DWORD size = kUntouched;
  EXPECT_EQ(clips.source->GetKeyFrame(lying.clip.get(), 2, &frame, &size), S_OK);
  EXPECT_NE(frame, nullptr);
  EXPECT_TRUE(take(frame, size).empty());
  EXPECT_EQ(clips.key_frame(lying, 3), 0u);

  // As many samples as a table can claim: the last index must not be walked to.
  track.replaced["stsz"] = test::constant_stsz(1, 0xFFFFFFFF);
  const Opened endless = clips.open("endless.mp4", movie({track}));
  ASSERT_EQ(endless.result, S_OK);
  EXPECT_EQ(clips.key_frame(endless, 0xFFFFFFFF), 0u);
}

// Every allocation fails once. What fails leaves nothing open: the file may be written.
TEST(Clips, WithoutMemoryFailAndLeaveNothingOpen) {
  Clips clips;
  const std::u16string names[] = {clips.write("mpeg4.mp4", movie({mpeg4_visual_track()})),
                                  clips.write("avc.mp4", movie({test::avc_track(3), test::amr_track(3)})),
                                  clips.write("h263.mp4", movie({h263_track()})),
                                  clips.write("x.amr", narrow_band()),
                                  clips.write("x.aac", aacf::test::adts_file(3, 400))};
  const auto step_fails = [](uint64_t nth, auto step) {
    const test::FailingAllocator fault(nth);
    step();
    return fault.struck();
  };
  for (const std::u16string& name : names) {
    bool struck = true;
    for (uint64_t nth = 1; struck; ++nth) {
      ASSERT_LT(nth, 1000u);
      ClipHandle* clip = nullptr;
      BYTE* bytes = nullptr;
      DWORD length = 0;
      HRESULT opened = S_OK;
      struck =
          step_fails(nth, [&] { opened = clips.source->OpenClip(name.c_str(), &clip, &bytes, &length); });
      // Required: the file manager's own number.
      EXPECT_TRUE(opened == -6001 ||
                  (nth > 1 && (opened == S_OK || opened == E_FAIL || opened == E_OUTOFMEMORY)))
          << opened;
      EXPECT_EQ(clip != nullptr, opened == S_OK) << nth;
      take(bytes, length);
      ClipInfo info = untouched_info();
      HRESULT told = S_OK;
      struck |= clip != nullptr && step_fails(nth, [&] { told = clips.source->GetClipInfo(clip, &info); });
      EXPECT_TRUE(told == S_OK || told == E_FAIL) << told;
      EXPECT_EQ(clips.source->CloseClip(clip), clip != nullptr ? S_OK : E_FAIL);
      void* const writer = OS_fopen(name.c_str(), "r+");
      EXPECT_NE(writer, nullptr) << nth;
      OS_fclose(writer);
    }
  }
}

// Required: the filter goes by the kind of the last clip; what it plays of another kind ends. The clips
// themselves go by their own.
TEST(Clips, RequiredShareTheKindOfTheFilter) {
  const std::pair<std::string, Bytes> kMovie{"x.mp4", movie({test::avc_track(20)})};
  const std::pair<std::string, Bytes> kSpeech{"x.amr", speech(false, 30, 0x3C).bytes()};
  const std::pair<std::string, Bytes> kAac{"x.aac", aacf::test::adts_file(30, 400)};
  for (const auto& [played, other] :
       {std::pair{kMovie, kSpeech}, {kMovie, kAac}, {kSpeech, kMovie}, {kSpeech, kAac}, {kAac, kMovie}}) {
    SCOPED_TRACE(played.first + " beside " + other.first);
    SinkGraph graph;
    ASSERT_EQ(graph.under_test.load(played.second, played.first), S_OK);
    CMediaType type;
    CZanMP4SourceOutputPin& pin = graph.under_test.pin(0);
    EXPECT_EQ(pin.GetMediaType(0, &type), S_OK);
    ASSERT_EQ(graph.build(), S_OK);
    Clips clips(graph.under_test.filter.get());
    const Opened same = clips.open(played.first, played.second);
    const Opened stranger = clips.open(other.first, other.second);
    ASSERT_EQ(graph.run(), S_OK);
    ASSERT_TRUE(graph.wait_for_ends());
    EXPECT_TRUE(graph.segment(0).empty());
    graph.stop();
    EXPECT_EQ(pin.GetMediaType(0, &type), -1);
    EXPECT_EQ(pin.CheckMediaType(&type), E_FAIL);
    ALLOCATOR_PROPERTIES properties{.cBuffers = 0, .cbBuffer = 0, .cbAlign = 1, .cbPrefix = 0};
    HRESULT hr = S_OK;
    const com::ComPtr<IMemAllocator> allocator(new CMemAllocator(NAME("of a test"), nullptr, &hr));
    EXPECT_EQ(pin.DecideBufferSize(allocator.get(), &properties), played == kMovie ? S_OK : -1);
    ClipInfo info = untouched_info();
    EXPECT_EQ(clips.source->GetClipInfo(same.clip.get(), &info), S_OK);
    EXPECT_EQ(info.video_codec, played == kMovie ? mp4source::kClipAvcVideo : kUntouched);
    EXPECT_EQ(clips.key_frame(same, 4), played == kMovie ? 4u : 0u);

    const Opened back = clips.open(played.first, played.second);
    ASSERT_EQ(graph.run(), S_OK);
    ASSERT_TRUE(graph.wait_for_ends());
    EXPECT_FALSE(graph.segment(0).empty());
  }
}

TEST(Clips, WhileTheFilterPlays) {
  SinkGraph graph({.tracks = {test::amr_track(4000), test::avc_track(800)}});
  Clips clips(graph.under_test.filter.get());
  const std::u16string name = clips.write("x.mp4", movie({test::avc_track(4)}));
  graph.run();
  const auto use = [&] {
    for (int i = 0; i < 20; ++i) {
      const Opened opened = clips.open(name);
      ClipInfo info = untouched_info();
      EXPECT_EQ(clips.source->GetClipInfo(opened.clip.get(), &info), S_OK);
      EXPECT_EQ(clips.key_frame(opened, 3), 3u);
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
