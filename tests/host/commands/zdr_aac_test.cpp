// AAC files: tags, cover and stream in `zdr info`, a WAVE file from `zdr play`, and the reasons why a file is
// refused.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "mediakit/aac/stream_builder.h"
#include "mediakit/files/id3_builder.h"
#include "tests/host/commands/zdr_files.h"

namespace zdr::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using namespace std::string_literals;

Bytes tagged_file() {
  const Bytes frames = concat({v23_frame("TIT2", bytes_of("\0A\x1B[2Jsong"s)),
                               v23_frame("TPE1", bytes_of("\1\xFF\xFE\x00\xD8s\0"s)),
                               v23_frame("APIC", bytes_of("\0image/png\0\3\0\x89PNG\r\n\x1A\nxy"s))});
  return concat({id3v2(3, 0, frames), adts_file(100, 400), id3v1("Old", "", "1999", 0xFF)});
}

TEST(ZdrAac, InfoShowsStreamTagsAndCover) {
  const TempFolder folder;
  write_bytes(folder, "song.aac", tagged_file());
  const ZdrResult words = zdr("info song.aac --cover cover.png", folder);
  EXPECT_EQ(words.exit_code, 0) << words.err;
  EXPECT_THAT(words.out,
              AllOf(HasSubstr("duration 0:00:02.321"), HasSubstr("Audio1: "),
                    HasSubstr("clip: 0:00:02.321, AAC 44100 Hz 2 channels"),
                    HasSubstr("stream: about 100 frames, 136000 bit/s (estimated), 40000 bytes of audio"),
                    HasSubstr("title (ID3v2.3): A\\x1b[2Jsong\n"), HasSubstr("title (ID3v1): Old\n"),
                    HasSubstr("cover (ID3v2.3): image PNG, bytes 10"), Not(HasSubstr("\x1B"))));
  EXPECT_EQ(read_file(folder / "cover.png"), "\x89PNG\r\n\x1A\nxy");

  const ZdrResult result = zdr("info --json song.aac", folder);
  const auto json = parsed(result.out);
  EXPECT_EQ(json.at("stream").at("bitrate"), 136000);
  EXPECT_EQ(json.at("stream").at("bitrate_mode"), "estimated");
  EXPECT_EQ(json.at("stream").at("frames_scanned"), 99);
  const auto& artist = json.at("tags").at(1);
  EXPECT_EQ(artist.at("text"), "\uFFFDs");
  EXPECT_EQ(artist.at("text_hex"), "fffe00d87300");
}

// Decoded sound is larger than its file, which is no sign of damage.
TEST(ZdrAac, DecodedSoundMayBeLargerThanTheFile) {
  const TempFolder folder;
  write_bytes(folder, "song.aac", tagged_file());
  const ZdrResult rows = zdr("samples song.aac -q", folder);
  EXPECT_EQ(rows.exit_code, 0) << rows.err;
  EXPECT_EQ(std::count(rows.out.begin(), rows.out.end(), '\n'), 1 + 10);
  // A hundred frames are read, and the first of them yields no sound.
  EXPECT_EQ(zdr("play song.aac", folder).out,
            "song.Audio1.wav: 10 samples, " + std::to_string(44 + 99 * 4096) + " bytes\n");
  EXPECT_EQ(read_file(folder / "song.Audio1.wav").substr(8, 8), "WAVEfmt ");
}

TEST(ZdrAac, RefusedFilesAreReportedWithTheReason) {
  const Bytes adts = adts_file(10, 400);
  Bytes main_profile = adts;
  main_profile[2] = static_cast<uint8_t>(main_profile[2] & 0x3F);
  Bytes six_channels = adts;
  six_channels[2] = static_cast<uint8_t>(six_channels[2] | 1);
  const std::tuple<const char*, Bytes, int> kCases[] = {
      {"ends inside its ID3v2 tag [-1007]", id3v2(3, 0, adts, 100000), 1},
      {"flags that are not defined [-1]", concat({id3v2(3, 0x10, Bytes(20, 0)), adts}), 1},
      {"the Main profile, which is not supported [-1]", main_profile, 4},
      {"channel configuration 6; at most two", six_channels, 4},
      {"the first frame of its ADTS stream", Bytes(adts.begin(), adts.begin() + 100), 1},
      {"behind an ID3v2 tag only ADTS", concat({id3v2(4, 0, Bytes(20, 0)), Bytes(50, 'x')}), 4},
      {"none of ADTS, ADIF and an AAC configuration", Bytes(100, 'x'), 1},
      // An object type that the decoder names on its console.
      {"none of ADTS, ADIF and an AAC configuration", concat({{2, 0x0A, 0x10}, Bytes(20, 0xFF)}), 1},
  };
  const TempFolder folder;
  for (const auto& [what, content, exit_code] : kCases) {
    write_bytes(folder, "bad.aac", content);
    const ZdrResult result = zdr("info bad.aac", folder);
    EXPECT_EQ(result.exit_code, exit_code) << what;
    EXPECT_THAT(result.err, testing::MatchesRegex("zdr: [^\n]*\n"));
    EXPECT_THAT(result.err, HasSubstr(what));
  }
}

}  // namespace
}  // namespace zdr::test
