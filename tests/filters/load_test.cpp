// Loading: the pins of each file, and the status of every failure.
#include <gtest/gtest.h>

#include <cstring>

#include "mediakit/files/id3_builder.h"
#include "tests/filters/debugger_texts.h"
#include "tests/filters/filter_under_test.h"
#include "tests/platform/fault_at.h"

namespace zdr::test {
namespace {

TrackDescription unknown_video() {
  TrackDescription track = avc_track(3);
  track.sample_entries = {video_entry("hev1", 176, 144)};
  return track;
}

TrackDescription with_time_scale(TrackDescription track, uint32_t time_scale) {
  track.time_scale = time_scale;
  return track;
}

TrackDescription with_id(TrackDescription track, uint32_t id) {
  track.replaced["tkhd"] = tkhd({.track_id = id});
  return track;
}

TEST(Load, KeptOnlyTheFirstTrackOfEachKindIsTried) {
  const std::tuple<std::string, std::vector<TrackDescription>, HRESULT, std::vector<std::string>> kCases[] = {
      {"video first", {avc_track(3), amr_track(3)}, S_OK, {"Audio0", "Video0"}},
      {"two of each", {amr_track(3), avc_track(3), amr_track(5), avc_track(5)}, S_OK, {"Audio0", "Video0"}},
      {"audio alone", {amr_track(3)}, S_OK, {"Audio0"}},
      {"video alone", {avc_track(3)}, S_OK, {"Video0"}},
      {"no codec for the video", {unknown_video(), amr_track(3)}, S_OK, {"Audio0"}},
      {"no codec at all", {unknown_video()}, VFW_E_INVALID_FILE_FORMAT, {}},
      {"second video playable", {unknown_video(), avc_track(3)}, VFW_E_INVALID_FILE_FORMAT, {}},
      {"no tracks", {}, VFW_E_INVALID_FILE_FORMAT, {}},
  };
  for (const auto& [name, tracks, result, pins] : kCases) {
    FilterUnderTest under_test(MovieDescription{.tracks = tracks});
    EXPECT_EQ(under_test.load_result(), result) << name;
    EXPECT_EQ(under_test.pin_names(), pins) << name;
  }
}

// Tracks are opened by ID, so both pins have the first track of an ID, and only that of its kind can play it.
TEST(Load, KeptBothPinsPlayTheFirstTrackOfAnId) {
  TrackDescription without_header = amr_track(3);  // its ID counts as 0
  without_header.replaced["tkhd"] = Bytes{};
  const std::tuple<std::string, std::vector<TrackDescription>, int> kCases[] = {
      {"audio first", {with_id(amr_track(3), 7), with_id(avc_track(3), 7)}, 0},
      {"video first", {with_id(avc_track(3), 7), with_id(amr_track(3), 7)}, 1},
      {"no header, and 0", {without_header, with_id(avc_track(3), 0)}, 1},
  };
  for (const auto& [name, tracks, playable] : kCases) {
    FilterUnderTest under_test(MovieDescription{.tracks = tracks});
    ASSERT_EQ(under_test.pin_names(), (std::vector<std::string>{"Audio0", "Video0"})) << name;
    CMediaType type;
    FakeSample sample(1000);
    for (const int pin : {0, 1}) {
      EXPECT_EQ(under_test.media_type(type, pin) == S_OK, pin == playable) << name;
      // Each reads from the start: they do not share the position in the track.
      EXPECT_EQ(under_test.fill(pin, sample), S_OK) << name;
      EXPECT_EQ(sample.content().start, 0) << name;
    }
  }
}

TEST(Load, EnumeratorsSeeTheNewPins) {
  FilterUnderTest under_test;
  com::ComPtr<IEnumPins> pins;
  ASSERT_EQ(under_test.filter->EnumPins(pins.out()), S_OK);
  com::ComPtr<IPin> pin;
  EXPECT_EQ(pins->Next(1, pin.out(), nullptr), S_FALSE);
  ASSERT_EQ(under_test.load(build_movie(amr_track(3)).bytes), S_OK);
  EXPECT_EQ(pins->Next(1, pin.out(), nullptr), S_OK);
}

TEST(Load, KeptMissingFilesAreReportedWhateverTheExtension) {
  const Bytes movie = build_movie(amr_track(3)).bytes;
  const Bytes junk(64, 0x55);
  // A null content is a missing file.
  const std::tuple<std::string, const Bytes*, HRESULT> kCases[] = {
      {"clip.mp4", nullptr, VFW_E_NOT_FOUND},
      {"clip.aac", nullptr, VFW_E_NOT_FOUND},
      {"clip.amr", nullptr, VFW_E_NOT_FOUND},
      {"clip.txt", nullptr, VFW_E_NOT_FOUND},
      {"nowhere/clip.mp4", nullptr, VFW_E_NOT_FOUND},
      {"clip.MP4", &movie, S_OK},
      {"clip.3gpa-DRM", &movie, S_OK},
      // An ISO file of another extension.
      {"clip.mp4.bak", &movie, VFW_E_INVALID_FILE_FORMAT},
      {"clip", &movie, VFW_E_INVALID_FILE_FORMAT},
      {"clip.aac", &movie, VFW_E_INVALID_FILE_FORMAT},
      {"clip.mp4", &junk, VFW_E_INVALID_FILE_FORMAT},
      {"clip.amr", &junk, VFW_E_INVALID_FILE_FORMAT},
  };
  for (const auto& [name, content, expected] : kCases) {
    FilterUnderTest under_test;
    SetLastError(ERROR_FILE_NOT_FOUND);  // left by an earlier call; must not affect the status
    const HRESULT result =
        content != nullptr ? under_test.load(*content, name) : under_test.load(under_test.folder / name);
    EXPECT_EQ(result, expected) << name;
  }
}

TEST(Load, KeptTextsOfTheLibrariesAreSentToTheDebugger) {
  const Bytes picture = bytes_of(std::string("\1image/png\0\3\0", 13));
  const DebuggerTexts debugger;
  testing::internal::CaptureStderr();
  // The second file is a raw stream of AAC Main: the length of its configuration, the configuration, bytes
  // 0xFF.
  for (const Bytes& content :
       {id3v2(3, 0, v23_frame("APIC", picture)), concat({{2, 0x0A, 0x10}, Bytes(20, 0xFF)})}) {
    EXPECT_EQ(FilterUnderTest().load(content, "clip.aac"), VFW_E_INVALID_FILE_FORMAT);
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(debugger.all(),
            u"\n Unicode not supported nowlObjectType = 1 =Failed at Zd_AAC_Dec_sParseRawConfigData\n");
}

TEST(Load, SucceedsOnceAndMayBeCalledAgainAfterAFailure) {
  FilterUnderTest under_test;
  const Bytes movie = build_movie(amr_track(3)).bytes;
  EXPECT_EQ(under_test.file_source->Load(nullptr, nullptr), E_POINTER);
  EXPECT_EQ(under_test.load(under_test.folder / "missing.mp4"), VFW_E_NOT_FOUND);
  EXPECT_EQ(under_test.load(build_movie(unknown_video()).bytes), VFW_E_INVALID_FILE_FORMAT);
  EXPECT_EQ(under_test.load(movie), S_OK);
  EXPECT_EQ(under_test.load(movie), E_UNEXPECTED);
  EXPECT_EQ(under_test.pin_names(), std::vector<std::string>{"Audio0"});
}

TEST(Load, KeptGetCurFileSucceedsWithoutAFileAndAfterAFailure) {
  FilterUnderTest under_test;
  AM_MEDIA_TYPE type;
  std::memset(&type, 0x55, sizeof type);
  LPOLESTR name = const_cast<LPOLESTR>(u"untouched");
  EXPECT_EQ(under_test.file_source->GetCurFile(nullptr, &type), E_POINTER);
  EXPECT_EQ(under_test.file_source->GetCurFile(&name, &type), S_OK);
  EXPECT_EQ(name, nullptr);
  EXPECT_EQ(type.majortype, GUID_NULL);
  EXPECT_EQ(type.pbFormat, nullptr);

  const std::filesystem::path missing = under_test.folder / "missing.mp4";
  EXPECT_EQ(under_test.load(missing), VFW_E_NOT_FOUND);
  EXPECT_EQ(under_test.file_source->GetCurFile(&name, nullptr), S_OK);
  EXPECT_EQ(std::u16string(name), missing.u16string());
  CoTaskMemFree(name);
  const FaultAt fault(platform::FaultPoint::kTaskAllocation, 1);  // no name, and no error
  EXPECT_EQ(under_test.file_source->GetCurFile(&name, nullptr), S_OK);
  EXPECT_EQ(name, nullptr);
}

TEST(Load, KeptDurationIsThatOfTheLongestPin) {
  const TrackDescription one_second = amr_track(50);
  const TrackDescription three_frames = avc_track(3);  // 300 ms
  TrackDescription version_1 = avc_track(3);           // its durations read as 0
  version_1.header_version = 1;
  TrackDescription movie_units = avc_track(3);  // 300 in the scale of the movie, divided by that of the track
  movie_units.time_scale = 600;
  movie_units.replaced["mdhd"] = mdhd({.time_scale = 600, .duration = 0});
  const std::tuple<std::string, std::vector<TrackDescription>, REFERENCE_TIME, REFERENCE_TIME> kCases[] = {
      {"audio longer", {one_second, three_frames}, 10000000, 10000000},
      {"video longer", {amr_track(5), three_frames}, 3000000, 1000000},
      {"version 1", {version_1}, 0, 0},
      {"track duration in media units", {movie_units}, 5000000, 5000000},
      {"no time scale", {with_time_scale(avc_track(3), 0)}, 0, 0},
      {"truncated to milliseconds", {with_time_scale(avc_track(1), 600)}, 1660000, 1660000},
  };
  for (const auto& [name, tracks, expected, first_pin_stop] : kCases) {
    FilterUnderTest under_test(MovieDescription{.tracks = tracks});
    ASSERT_EQ(under_test.load_result(), S_OK) << name;
    LONGLONG duration = -1;
    LONGLONG stop = -1;
    const auto seeking = under_test.seeking(0);
    EXPECT_EQ(seeking->GetDuration(&duration), S_OK);
    EXPECT_EQ(duration, expected) << name;
    // Each pin stops at its own end.
    EXPECT_EQ(seeking->GetStopPosition(&stop), S_OK);
    EXPECT_EQ(stop, first_pin_stop) << name;
  }
}

}  // namespace
}  // namespace zdr::test
