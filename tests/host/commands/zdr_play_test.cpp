// `zdr play` and `zdr samples`: parts of a file, and messages about streams that are incomplete.
#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <sstream>

#include "mediakit/boxes/movie_builder.h"
#include "tests/host/commands/zdr_files.h"

namespace zdr::test {
namespace {

std::vector<std::string> lines_with(const std::string& text, const std::string& begin) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) {
    if (line.starts_with(begin)) lines.push_back(line);
  }
  return lines;
}

// The columns are pin, index, start, stop, size, sync, discontinuity, preroll and CRC-32 as other programs
// compute it.
TEST(ZdrSamples, ListThePartThatIsRequested) {
  const struct {
    std::string options;
    size_t audio_rows;
    size_t video_rows;
    std::string first_video;
  } kCases[] = {
      // Without a seek the audio pin has the first sample of the process and its marks.
      {"", 21, 60, "Video0,0,0,660000,7568,1,0,0,961a7ab5"},
      {" --only audio", 21, 0, ""},
      {" --only video", 0, 60, "Video0,0,0,660000,7568,1,1,0,"},
      {" --stop 0.4", 3, 7, "Video0,0,0,660000,7568,1,1,0,"},
      // After a seek both pins are marked, and the video begins at a key frame.
      {" --start 1 --stop 1.5", 3, 23, "Video0,0,-9600000,-8940000,7568,1,1,1,"},
      {" --start 0:00:03.5", 3, 30, "Video0,0,-14600000,-13940000,4974,1,1,1,"},
  };
  for (const auto& each : kCases) {
    const std::string out = zdr("samples @h263-amr.3gp -q" + each.options).out;
    const std::vector<std::string> audio = lines_with(out, "Audio0,");
    const std::vector<std::string> video = lines_with(out, "Video0,");
    EXPECT_EQ(audio.size(), each.audio_rows) << each.options;
    EXPECT_EQ(video.size(), each.video_rows) << each.options;
    EXPECT_TRUE(audio.empty() || audio[0].starts_with("Audio0,0,0,1,320,1,1,0,")) << audio[0];
    EXPECT_TRUE(video.empty() || video[0].starts_with(each.first_video)) << video[0];
  }
}

// 2000 chunks of one sample of 100 bytes, alternating between two offsets whose samples overlap: consecutive
// chunks at the same offset would be read as one.
Bytes overlapping_movie() {
  TrackDescription track = amr_track(1, 101);
  MovieDescription movie{.tracks = {track}, .moov_first = false};
  const uint64_t place = build_movie(movie).sample_offsets[0][0];
  std::vector<uint64_t> places(2000, place);
  for (size_t i = 0; i < places.size(); i += 2) ++places[i];
  const Bytes media_header = mdhd({.time_scale = track.time_scale, .duration = 2000 * 160});
  movie.tracks[0].replaced = {{"mdhd", media_header},
                              {"stts", stts({{2000, 160}})},
                              {"stsz", stsz(std::vector<uint32_t>(2000, 100))},
                              {"stsc", stsc({{1, 1}})},
                              {"stco", stco(places)}};
  return build_movie(movie).bytes;
}

// Twenty frames of 160 units, after an empty edit longer than ten of them.
Bytes shifted_movie() {
  TrackDescription track = amr_track(20);
  track.edits = {{.segment_duration = 1700, .media_time = -1}, {.segment_duration = 2000, .media_time = 0}};
  return build_movie(track).bytes;
}

// The filter offers no media type for more than two channels.
Bytes movie_with_surround_sound() {
  TrackDescription sound = aac_track(20);
  sound.sample_entries = {audio_entry("mp4a", 6, 44100, esds({.decoder_specific_info = {0x12, 0x30}}))};
  return build_movie({.tracks = {sound, avc_track(3)}}).bytes;
}

// Writes the files of the next test, each named after its peculiarity.
void write_special_files(const TempFolder& folder) {
  write_bytes(folder, "overlap.mp4", overlapping_movie());
  write_bytes(folder, "shifted.mp4", shifted_movie());
  write_bytes(folder, "surround.mp4", movie_with_surround_sound());
  write_file(folder / "header.amr", "#!AMR\n");
}

TEST(ZdrPlay, WritesWhatIsDeliveredAndReportsWhatIsMissing) {
  const std::string kTooMuch =
      "overlap.mp4: the tables describe more data than the file holds (--allow-overlap ";
  const std::string kPartial =
      "overlap.mp4: Audio0: what was written so far is kept as overlap.Audio0.amr.part|";
  const std::string kNoType =
      "surround.mp4: Audio0: not played: it offers no media type (codec or configuration not supported)|";
  const std::string kDamage =
      "surround.mp4: Video0: 3 damaged unit(s): NAL unit length runs past its access unit|";
  const std::string kVideo = "surround.Video0.h264: 3 samples, 74 bytes|";
  // Command, exit code, messages without "zdr: ", output; | ends a line.
  const std::tuple<std::string, int, std::string, std::string> kCases[] = {
      {"play @h263-amr.3gp --start 1 --stop 1.5 -q", 0, "",
       "h263-amr.Audio0.amr: 3 samples, 966 bytes|h263-amr.Video0.h263: 23 samples, 51313 bytes|"},
      {"play @avc-aac.mp4 --decode --only audio -q", 0, "", "avc-aac.Audio0.wav: 18 samples, 712748 bytes|"},
      {"play overlap.mp4", 3, kTooMuch + "plays it)|" + kPartial, ""},
      {"samples overlap.mp4 --only video", 4, "overlap.mp4: no stream that can be played|", ""},
      {"play overlap.mp4 --allow-overlap", 0, "", "overlap.Audio0.amr: 200 samples, 200006 bytes|"},
      {"play shifted.mp4", 0,
       "shifted.mp4: Audio0: 10 of 20 access units lie before the stop position; the rest was left out|",
       "shifted.Audio0.amr: 1 samples, 326 bytes|"},
      {"play surround.mp4", 3, kNoType + kDamage, kVideo},
      {"play surround.mp4 --only video --force", 3, kDamage, kVideo},
      {"play surround.mp4 --only audio", 4, kNoType + "surround.mp4: no stream that can be played|", ""},
      {"play header.amr", 0, "header.amr: AMR Audio1: delivered no sample|", ""},
  };
  const TempFolder folder;
  write_special_files(folder);
  for (const auto& [line, exit_code, messages, output] : kCases) {
    ZdrResult result = zdr(line, folder);
    EXPECT_EQ(result.exit_code, exit_code) << line;
    std::ranges::replace(result.err, '\n', '|');
    std::ranges::replace(result.out, '\n', '|');
    EXPECT_EQ(std::regex_replace(result.err, std::regex("zdr: "), ""), messages);
    EXPECT_EQ(result.out, output);
  }
  const ZdrResult samples = zdr("samples overlap.mp4", folder);
  EXPECT_EQ(samples.exit_code, 3);
  EXPECT_EQ(samples.err, "zdr: " + kTooMuch + "goes on)\n");
  EXPECT_FALSE(lines_with(samples.out, "Audio0,0,").empty());
}

}  // namespace
}  // namespace zdr::test
