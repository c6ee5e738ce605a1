// `zdr keyframe`: pictures held against the stream that `zdr play` writes of the same file. And what `zdr
// info` says where a clip tells nothing.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "mediakit/boxes/movie_builder.h"
#include "mediakit/files/temp_folder.h"
#include "tests/host/commands/zdr_process.h"

namespace zdr::host {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using tests::read_file;
using tests::TempFolder;

std::string sample(const std::string& name) {
  return ZDR_SAMPLES_DIR "/" + name;
}

// The stream begins with the configuration and its first picture, so every picture is a beginning of the
// stream and, behind that, a part of it.
void expect_picture_of_stream(const std::string& picture, const std::string& stream, int index) {
  const auto common = std::mismatch(picture.begin(), picture.end(), stream.begin(), stream.end()).first;
  const std::string rest(common, picture.end());
  EXPECT_EQ(rest.empty(), index == 1) << index;
  EXPECT_NE(stream.find(rest), std::string::npos) << index;
}

TEST(ZdrKeyframe, WritesAPictureOfTheStreamBehindItsConfiguration) {
  const struct {
    std::string file;
    std::string extension;
    std::string codec;
    std::string begin;  // of every picture
    std::string begin_of_frame;
    int last;  // number of a later key frame
  } kCases[] = {
      {"avc-bframes", ".mp4", "AVC", std::string("\0\0\0\1\x67", 5), std::string("\0\0\0\1\x65", 5), 2},
      {"mpeg4-amrwb", ".3gp", "MPEG-4 visual", std::string("\0\0\1\xB0", 4), std::string("\0\0\1\xB6", 4), 3},
      {"h263-amr", ".3gp", "H.263", std::string("\0\0\x80", 3), std::string("\0\0\x80", 3), 2},
  };
  for (const auto& each : kCases) {
    SCOPED_TRACE(each.file);
    const TempFolder folder;
    const std::string path = sample(each.file + each.extension);
    ASSERT_EQ(run_zdr({"play", path, "--only", "video", "-q"}, folder.path()).exit_code, 0);
    const auto written = std::filesystem::directory_iterator(folder.path())->path();
    const std::string stream = read_file(written);
    for (const int index : {1, each.last}) {
      const ZdrResult result = run_zdr({"keyframe", path, std::to_string(index)}, folder.path());
      EXPECT_EQ(result.exit_code, 0);
      EXPECT_THAT(result.err, IsEmpty());
      const std::string name = each.file + ".keyframe" + std::to_string(index) + written.extension().string();
      const std::string picture = read_file(folder / name);
      EXPECT_EQ(result.out, name + ": " + std::to_string(picture.size()) + " bytes\n");
      EXPECT_THAT(picture, StartsWith(each.begin));
      EXPECT_THAT(picture, HasSubstr(each.begin_of_frame));
      expect_picture_of_stream(picture, stream, index);
    }
    tests::write_file(folder / "picture", "of an earlier run");
    const auto report = nlohmann::json::parse(
        run_zdr({"keyframe", path, "1", "-o", "picture", "--force", "--json"}, folder.path()).out);
    EXPECT_EQ(report.at("codec"), each.codec);
    EXPECT_EQ(report.at("index"), 1);
    EXPECT_GT(report.at("width"), report.at("height"));
    EXPECT_EQ(report.at("output"), "picture");
    EXPECT_EQ(report.at("size"), read_file(folder / "picture").size());
  }
}

TEST(ZdrInfo, WarnsOfAClipThatTellsNothingBesideTheNotesOfTheRun) {
  const TempFolder folder;
  test::TrackDescription unknown = test::avc_track(3);
  unknown.sample_entries = {test::video_entry("hev1", 176, 144)};
  const auto movie = test::build_movie({.tracks = {test::amr_track(20), unknown}}).bytes;
  tests::write_file(folder / "half.mp4", {reinterpret_cast<const char*>(movie.data()), movie.size()});
  tests::write_file(
      folder / "registry.reg",
      "Windows Registry Editor Version 5.00\r\n\r\n"
      "[HKEY_CLASSES_ROOT\\Media Type\\Extensions\\.mp4]\r\n\"Source Filter\"=\"{no class}\"\r\n");
  std::filesystem::permissions(folder / "registry.reg", std::filesystem::perms(0600));
  ZdrSetup setup;
  setup.arguments = {"info", "half.mp4", "--json"};
  setup.folder = folder.path();
  setup.environment = {"ZDR_REGISTRY=" + (folder / "registry.reg").string()};
  const ZdrResult result = ZdrProcess(setup).finish();
  std::string warnings;
  const auto report = nlohmann::json::parse(result.out);
  for (const auto& warning : report.at("warnings")) warnings += warning.get<std::string>() + "\n";
  EXPECT_THAT(warnings, HasSubstr("the filter beside this program is used"));
  EXPECT_THAT(warnings, HasSubstr("no clip information: its first video or audio track cannot be described"));
}

}  // namespace
}  // namespace zdr::host
