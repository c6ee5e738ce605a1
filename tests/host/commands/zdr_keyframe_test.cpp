// `zdr keyframe`: its pictures occur in the stream that `zdr play` writes from the same file.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/host/commands/zdr_files.h"

namespace zdr::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

// The stream begins with the configuration and the first picture. So a written picture begins like the
// stream, and the rest of it occurs in the stream.
void expect_picture_of_stream(const std::string& picture, const std::string& stream, int index) {
  const auto common = std::mismatch(picture.begin(), picture.end(), stream.begin(), stream.end()).first;
  const std::string rest(common, picture.end());
  EXPECT_EQ(rest.empty(), index == 1) << index;
  EXPECT_NE(stream.find(rest), std::string::npos) << index;
}

TEST(ZdrKeyframe, WritesAPictureOfTheStreamAfterItsConfiguration) {
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
    const std::string file = "@" + each.file + each.extension;
    ASSERT_EQ(zdr("play " + file + " --only video -q", folder).exit_code, 0);
    const auto written = std::filesystem::directory_iterator(folder.path())->path();
    const std::string stream = read_file(written);
    for (const int index : {1, each.last}) {
      const ZdrResult result = zdr("keyframe " + file + " " + std::to_string(index), folder);
      EXPECT_EQ(result.exit_code, 0);
      EXPECT_THAT(result.err, IsEmpty());
      const std::string name = each.file + ".keyframe" + std::to_string(index) + written.extension().string();
      const std::string picture = read_file(folder / name);
      EXPECT_EQ(result.out, name + ": " + std::to_string(picture.size()) + " bytes\n");
      EXPECT_THAT(picture, StartsWith(each.begin));
      EXPECT_THAT(picture, HasSubstr(each.begin_of_frame));
      expect_picture_of_stream(picture, stream, index);
    }
    write_file(folder / "picture", "of an earlier run");
    const auto report = parsed(zdr("keyframe " + file + " 1 -o picture --force --json", folder).out);
    EXPECT_EQ(report.at("codec"), each.codec);
    EXPECT_EQ(report.at("index"), 1);
    EXPECT_GT(report.at("width"), report.at("height"));
    EXPECT_EQ(report.at("output"), "picture");
    EXPECT_EQ(report.at("size"), read_file(folder / "picture").size());
  }
}

}  // namespace
}  // namespace zdr::test
