// The private interface: clips by name, their information, their key frames.
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <cstring>

#include "filters/source/mp4/interfaces/zandor_video_source.h"
#include "mediakit/aac/stream_builder.h"
#include "mediakit/files/speech_file.h"
#include "os/os.h"
#include "tests/filters/codecs.h"
#include "tests/filters/sink_graph.h"
#include "tests/support/failing_allocator.h"

namespace zdr::test {
namespace {

using mp4source::ClipHandle;
using mp4source::ClipInfo;
using mp4source::IAMZandorVideoSource;

constexpr DWORD kUntouched = 0x55555555;

// The fields of ClipInfo in their order.
using Fields = std::array<double, 10>;

Fields fields_of(const ClipInfo& info) {
  return {double(info.video_codec),     double(info.audio_codec), double(info.width),
          double(info.height),          info.frame_rate,          double(info.duration_ms),
          double(info.sample_rate),     double(info.channels),    double(info.sl_config),
          double(info.sl_config_length)};
}

ClipInfo untouched_info() {
  ClipInfo info;
  std::memset(&info, 0x55, sizeof info);
  return info;
}

Bytes movie(const std::vector<TrackDescription>& tracks) {
  return build_movie({.tracks = tracks}).bytes;
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

struct Opened {
  HRESULT result;
  std::unique_ptr<ClipHandle, CloseClip> clip;
  bool has_configuration;
  Bytes configuration;
};

// The interface of a filter, and files for it.
class Clips {
 public:
  explicit Clips(IBaseFilter* filter = nullptr) {
    IBaseFilter& owner = filter != nullptr ? *filter : *files.filter.get();
    EXPECT_EQ(owner.QueryInterface(mp4source::kIidZandorVideoSource, source.out_void()), S_OK);
  }
  std::u16string write(const std::string& name, const Bytes& bytes) {
    return files.write(bytes, name).u16string();
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

  // The number of the sample that a key frame is; 0 if the call fails.
  uint32_t key_frame(const Opened& opened, DWORD index) {
    BYTE* bytes = nullptr;
    DWORD size = 0;
    if (source->GetKeyFrame(opened.clip.get(), index, &bytes, &size) != S_OK) return 0;
    const Bytes frame = take(bytes, size);
    uint32_t number = 1;
    while (frame != sample_content(1, number, size) && number < 1000) ++number;
    return number;
  }
  Fields information(const Opened& opened) {
    ClipInfo info = untouched_info();
    EXPECT_EQ(source->GetClipInfo(opened.clip.get(), &info), S_OK);
    return fields_of(info);
  }

  FilterUnderTest files;
  com::ComPtr<IAMZandorVideoSource> source;
};

// Fields that a clip does not have stay as they were.
TEST(Clips, KeptInformationLeavesMissingFieldsUntouched) {
  const double u = kUntouched;
  const double w = untouched_info().width;
  const double f = untouched_info().frame_rate;
  const Bytes avc_lists = {3, 0, 0, 4, 0x67, 0x42, 0xC0, 0x1E, 0, 2, 0x68, 0xCE};
  const struct {
    std::string name;
    Bytes content;
    Fields fields;
    Bytes configuration;
    uint32_t key_frame = 1;  // the first
  } kCases[] = {
      {"avc-aac.3gp",
       movie({avc_track(50), aac_track(100)}),
       {5, 4, 176, 144, 10, 5000, 44100, 2, u, u},
       avc_lists},
      {"no-time-scale.mp4",
       build_movie({.tracks = {avc_track(50)}, .movie_time_scale = 0}).bytes,
       {5, u, 176, 144, 0, 0, u, u, u, u},
       avc_lists},
      {"h263.MP4",
       movie({track_of("H.263")}),
       {2, u, 176, 144, 10, 1000, u, u, u, u},
       sample_content(1, 1, 20)},
      {"h263-esds.mp4",
       movie({video_track(video_entry("mp4v", 32, 16, esds({.object_type = 0xC2, .stream_type = 4})))}),
       {2, u, 32, 16, 10, 1000, u, u, u, u},
       sample_content(1, 1, 20)},
      {"avc-esds.mp4",
       movie({video_track(video_entry("mp4v", 32, 16, esds({.object_type = 0x7F, .stream_type = 4})))}),
       {u, u, w, w, f, 1000, u, u, u, u},
       {}},
      {"mpeg4.mp4",
       movie({track_of("MPEG-4 visual")}),
       {1, u, 352, 288, 10, 1000, u, u, 0, 1},
       {0, 0, 1, 0xB0, 3}},
      {"amr.3gp", movie({amr_track(50)}), {u, 3, w, w, f, 1000, 8000, 1, u, u}, {}, 0},
      {"amr-wb.3gp", movie({track_of("AMR-WB", 50)}), {u, 7, w, w, f, 1000, 16000, 1, u, u}, {}, 0},
      {"qcelp.3g2", movie({track_of("QCELP", 50)}), {u, 6, w, w, f, 1000, 8000, 1, u, u}, {}, 0},
      {"ac3.mp4", movie({track_of("AC-3")}), {u, u, w, w, f, 200, u, u, u, u}, {}, 0},
      {"x.amr", speech(false, 2, 0x3C).bytes(), {u, 3, w, w, f, 40, 8000, 1, u, u}, {}, 0},
      {"x.awb", speech(true, 3, 0x04).bytes(), {u, 7, w, w, f, 60, 16000, 1, u, u}, {}, 0},
      {"x.aac", adts_file(100, 400), {u, 4, w, w, f, 2321, 44100, 2, u, u}, {}, 0},
  };
  for (const auto& each : kCases) {
    SCOPED_TRACE(each.name);
    Clips clips;
    const Opened opened = clips.open(each.name, each.content);
    ASSERT_EQ(opened.result, S_OK);
    EXPECT_EQ(opened.configuration, each.configuration);
    EXPECT_EQ(opened.has_configuration, !each.configuration.empty());
    EXPECT_EQ(clips.information(opened), each.fields);
    EXPECT_EQ(clips.key_frame(opened, 1), each.key_frame);
  }
}

TEST(Clips, KeptUnknownExtensionOpensToAUselessHandle) {
  Clips clips;
  Opened opened = clips.open(u"nowhere.wav");
  EXPECT_EQ(opened.result, S_OK);
  ASSERT_TRUE(opened.clip);
  EXPECT_EQ(opened.clip->reader, nullptr);
  EXPECT_EQ(clips.information(opened), fields_of(untouched_info()));
  EXPECT_EQ(clips.key_frame(opened, 1), 0u);
  EXPECT_EQ(clips.source->CloseClip(opened.clip.release()), E_FAIL);  // and frees it
}

TEST(Clips, RefuseWhatCannotBeOpened) {
  Clips clips;
  const Bytes unknown = movie({video_track(video_entry("hev1", 176, 144))});
  const std::pair<std::string, Bytes> kFiles[] = {{"missing.3gp", {}},         {"missing.amr", {}},
                                                  {"missing.aac", {}},         {"junk.mp4", Bytes(100, 7)},
                                                  {"x.aac", Bytes(1000, 'x')}, {"x.mp4", unknown}};
  for (const auto& [name, content] : kFiles) {
    const Opened opened =
        content.empty() ? clips.open((clips.files.folder / name).u16string()) : clips.open(name, content);
    EXPECT_EQ(opened.result, E_FAIL) << name;
    EXPECT_FALSE(opened.clip);
    EXPECT_FALSE(opened.has_configuration);
  }
  ClipHandle* clip = nullptr;
  BYTE* bytes = nullptr;
  DWORD length = 0;
  ClipInfo info = untouched_info();
  const Opened opened = clips.open("y.mp4", movie({avc_track(3)}));
  IAMZandorVideoSource& source = *clips.source.get();
  for (const HRESULT hr :
       {source.OpenClip(nullptr, &clip, &bytes, &length), source.OpenClip(u"x.mp4", nullptr, &bytes, &length),
        source.OpenClip(u"x.mp4", &clip, nullptr, &length), source.OpenClip(u"x.mp4", &clip, &bytes, nullptr),
        source.GetClipInfo(nullptr, nullptr), source.GetKeyFrame(opened.clip.get(), 1, nullptr, &length),
        source.GetKeyFrame(opened.clip.get(), 1, &bytes, nullptr)}) {
    EXPECT_EQ(hr, E_POINTER);
  }
  EXPECT_EQ(source.GetClipInfo(nullptr, &info), E_HANDLE);
  EXPECT_EQ(source.GetKeyFrame(nullptr, 1, &bytes, &length), E_HANDLE);
  EXPECT_EQ(source.CloseClip(nullptr), E_FAIL);
}

TEST(Clips, KeptKeyFrameIndexesStartAtTheFirstSample) {
  std::vector<uint32_t> every;
  for (uint32_t number = 1; number <= 30; ++number) every.push_back(number);
  const std::tuple<std::string, std::vector<uint32_t>, std::vector<DWORD>, std::vector<uint32_t>> kCases[] = {
      {"sparse", {1, 11, 21}, {1, 2, 3, 2, 1, 0}, {1, 11, 21, 11, 1, 1}},
      {"the first sample is the first, key frame or not", {5, 15}, {1, 2, 3}, {1, 5, 15}},
      {"after the last one, the last", {1, 11}, {3, 1000}, {11, 11}},
      {"a dense table depends on the previous requests", every, {3, 2, 2, 5}, {3, 3, 3, 6}},
      {"without a table every sample is a key frame",
       {},
       {1, 2, 7, 30, 31, 0xFFFFFFFF, 0},
       {1, 2, 7, 30, 30, 30, 1}},
  };
  for (const auto& [name, sync_samples, indexes, numbers] : kCases) {
    SCOPED_TRACE(name);
    TrackDescription track = avc_track(30);
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
  TrackDescription track = avc_track(3);
  Bytes bytes = movie({track});
  bytes.resize(bytes.size() - 10);  // of the last sample
  Clips clips;
  const Opened truncated = clips.open("truncated.mp4", bytes);
  EXPECT_EQ(clips.key_frame(truncated, 2), 2u);
  EXPECT_EQ(clips.key_frame(truncated, 3), 0u);

  track.replaced["stsz"] = stsz({20, 0, 0xFFFFFFFF});
  track.sizes = {20, 0, 20};
  const Opened lying = clips.open("lying.mp4", movie({track}));
  ASSERT_EQ(lying.result, S_OK);
  BYTE* frame = nullptr;
  DWORD size = kUntouched;
  EXPECT_EQ(clips.source->GetKeyFrame(lying.clip.get(), 2, &frame, &size), S_OK);
  EXPECT_NE(frame, nullptr);
  EXPECT_TRUE(take(frame, size).empty());
  EXPECT_EQ(clips.key_frame(lying, 3), 0u);

  // With the largest number of samples, the search must not walk to the last index.
  track.replaced["stsz"] = constant_stsz(1, 0xFFFFFFFF);
  const Opened endless = clips.open("endless.mp4", movie({track}));
  ASSERT_EQ(endless.result, S_OK);
  EXPECT_EQ(clips.key_frame(endless, 0xFFFFFFFF), 0u);
}

// Every allocation fails once. A failure leaves nothing open: the file may be written.
TEST(Clips, KeptMissingFileManagerHasAStatusOfItsOwn) {
  Clips clips;
  const Bytes iods = full_box("iods", 0, 0, Bytes(7));
  const Bytes with_descriptor =
      build_movie({.tracks = {avc_track(3), amr_track(3)}, .moov_children = iods}).bytes;
  const std::u16string names[] = {
      clips.write("mpeg4.mp4", movie({track_of("MPEG-4 visual")})), clips.write("avc.mp4", with_descriptor),
      clips.write("h263.mp4", movie({track_of("H.263")})),
      clips.write("x.amr", speech(false, 2, 0x3C).bytes()), clips.write("x.aac", adts_file(3, 400))};
  const auto with_fault = [](uint64_t nth, auto step) {
    const FailingAllocator fault(nth);
    step();
    return fault.triggered();
  };
  for (const std::u16string& name : names) {
    bool triggered = true;
    for (uint64_t nth = 1; triggered; ++nth) {
      ASSERT_LT(nth, 1000u);
      ClipHandle* clip = nullptr;
      BYTE* bytes = nullptr;
      DWORD length = 0;
      HRESULT opened = S_OK;
      triggered =
          with_fault(nth, [&] { opened = clips.source->OpenClip(name.c_str(), &clip, &bytes, &length); });
      // The file manager's own number, always for the first allocation.
      EXPECT_TRUE(opened == -6001 ||
                  (nth > 1 && (opened == S_OK || opened == E_FAIL || opened == E_OUTOFMEMORY)))
          << opened;
      EXPECT_EQ(clip != nullptr, opened == S_OK) << nth;
      take(bytes, length);
      bool runs_out = !triggered;
      for (uint64_t at = 1; runs_out; ++at) {
        ClipInfo info = untouched_info();
        HRESULT reported = S_OK;
        runs_out = with_fault(at, [&] { reported = clips.source->GetClipInfo(clip, &info); });
        EXPECT_EQ(reported, runs_out ? E_OUTOFMEMORY : S_OK) << at;
      }
      EXPECT_EQ(clips.source->CloseClip(clip), clip != nullptr ? S_OK : E_FAIL);
      void* const writer = OS_fopen(name.c_str(), "r+");
      EXPECT_NE(writer, nullptr) << nth;
      OS_fclose(writer);
    }
  }
}

// Playback of a file of another kind ends. The clips themselves keep their own kind.
TEST(Clips, KeptFilterIsOfTheKindOfTheLastClip) {
  const std::pair<std::string, Bytes> kMovie{"x.mp4", movie({avc_track(20)})};
  const std::pair<std::string, Bytes> kSpeech{"x.amr", speech(false, 30, 0x3C).bytes()};
  const std::pair<std::string, Bytes> kAac{"x.aac", adts_file(30, 400)};
  for (const auto& [played, other] :
       {std::pair{kMovie, kSpeech}, {kMovie, kAac}, {kSpeech, kMovie}, {kSpeech, kAac}, {kAac, kMovie}}) {
    SCOPED_TRACE(played.first + " beside " + other.first);
    const bool is_movie = played == kMovie;
    SinkGraph graph;
    ASSERT_EQ(graph.under_test.load(played.second, played.first), S_OK);
    ASSERT_EQ(graph.build(), S_OK);
    Clips clips(graph.under_test.filter.get());
    const Opened same = clips.open(played.first, played.second);
    const Opened stranger = clips.open(other.first, other.second);
    ASSERT_EQ(graph.run(), S_OK);
    ASSERT_TRUE(graph.wait_for_ends());
    EXPECT_TRUE(graph.sink(0).samples().empty());
    graph.stop();
    CMediaType type;
    EXPECT_EQ(graph.under_test.media_type(type), -1);
    EXPECT_EQ(graph.pin(0).CheckMediaType(&type), E_FAIL);
    ALLOCATOR_PROPERTIES properties{.cBuffers = 0, .cbBuffer = 0, .cbAlign = 1, .cbPrefix = 0};
    HRESULT hr = S_OK;
    const com::ComPtr<IMemAllocator> allocator(new CMemAllocator(NAME("of a test"), nullptr, &hr));
    EXPECT_EQ(graph.pin(0).DecideBufferSize(allocator.get(), &properties), is_movie ? S_OK : -1);
    EXPECT_EQ(clips.information(same)[0], is_movie ? mp4source::kClipAvcVideo : kUntouched);
    EXPECT_EQ(clips.key_frame(same, 4), is_movie ? 4u : 0u);

    const Opened back = clips.open(played.first, played.second);
    ASSERT_EQ(graph.run(), S_OK);
    ASSERT_TRUE(graph.wait_for_ends());
    EXPECT_FALSE(graph.sink(0).samples().empty());
  }
  // A failed open changes the kind too, unless the extension is unknown.
  for (const auto& [name, type_result] : {std::pair{u"missing.amr", -1}, {u"missing.wav", S_OK}}) {
    Clips clips;
    ASSERT_EQ(clips.files.load(kMovie.second), S_OK);
    Opened opened = clips.open(name);
    EXPECT_EQ(opened.result, type_result == S_OK ? S_OK : E_FAIL);
    CMediaType type;
    EXPECT_EQ(clips.files.media_type(type), type_result);
    clips.source->CloseClip(opened.clip.release());
  }
}

// Video without a duration has no frame rate of its own and uses the clip's.
TEST(Clips, KeptFrameRateOfAClipOutlivesALoad) {
  Clips clips;
  clips.information(clips.open("x.mp4", movie({avc_track(50)})));  // 10 frames a second
  TrackDescription endless = avc_track(1);
  endless.replaced["mdhd"] = mdhd({.duration = 0});
  endless.replaced["tkhd"] = tkhd({.duration = 0});
  ASSERT_EQ(clips.files.load(movie({endless}), "y.mp4"), S_OK);
  EXPECT_EQ(clips.files.fill().stop, 100 * kMs);
}

TEST(Clips, CanBeReadWhileTheFilterPlays) {
  SinkGraph graph({.tracks = {amr_track(4000), avc_track(800)}});
  Clips clips(graph.under_test.filter.get());
  const std::u16string name = clips.write("x.mp4", movie({avc_track(4)}));
  graph.run();
  for (int i = 0; i < 20; ++i) {
    const Opened opened = clips.open(name);
    EXPECT_EQ(clips.information(opened)[0], mp4source::kClipAvcVideo);
    EXPECT_EQ(clips.key_frame(opened, 3), 3u);
  }
  ASSERT_TRUE(graph.wait_for_ends());
  EXPECT_EQ(graph.sink(0).sample_count(), 400u);
  EXPECT_EQ(graph.sink(1).sample_count(), 800u);
}

}  // namespace
}  // namespace zdr::test
