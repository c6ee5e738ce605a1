// make_seeds SAMPLES FOLDER: writes the inputs with which the targets begin: the beginnings of the speech and
// AAC files of SAMPLES, small ISO files with every codec and kind of box, and texts of the registry. Writes
// each media file alone and with scripts.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "fuzz/player_steps.h"
#include "mediakit/aac/adts_file.h"
#include "mediakit/boxes/metadata_builder.h"
#include "mediakit/boxes/movie_builder.h"
#include "mediakit/files/id3_builder.h"
#include "mediakit/files/temp_folder.h"

namespace zdr::fuzz {
namespace {

using namespace test;

constexpr size_t kMostBytes = 4000;  // of a sample: a dozen frames show what a stream has, and more are slow
constexpr uint32_t kVendor = 0x5A414E44;

class SeedFolder {
 public:
  explicit SeedFolder(std::filesystem::path folder) : folder_(std::move(folder)) {}

  void add(const std::string& name, const Bytes& bytes) const {
    write_file(folder_ / name, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  }
  // The file alone, and with each script.
  void add_media(const std::string& name, const Bytes& file) const {
    const auto step = [](Step each) { return static_cast<uint8_t>(each); };
    const uint8_t run = step(Step::kRun), pause = step(Step::kPause), stop = step(Step::kStop),
                  seek = step(Step::kSeek), oddly = step(Step::kSeekOddly), wait = step(Step::kWait),
                  change = step(Step::kSwitchPin), ask = step(Step::kAsk), late = step(Step::kReportLate);
    const Bytes kScripts[] = {{run, seek, 0, 100, wait, seek, 1, 30},
                              {pause, wait, seek, 0, 150, wait, run, stop, seek, 1, 60},
                              {change, 0, seek, 0, 50, run, ask, 0, late, 1, 30, change, 0, pause},
                              {oddly, 0, 20, 90, 0x11, run, wait, seek, 0, 255, run}};
    add(name, file);
    for (size_t i = 0; i < std::size(kScripts); ++i) {
      const Bytes length{static_cast<uint8_t>(kScripts[i].size())};
      add(name + "-script" + std::to_string(i), concat({file, kScripts[i], length}));
    }
  }

 private:
  std::filesystem::path folder_;
};

Bytes beginning_of(const std::filesystem::path& path) {
  Bytes bytes = read_bytes(path);
  bytes.resize(std::min(bytes.size(), kMostBytes));
  return bytes;
}

void add_samples(const std::filesystem::path& samples, const SeedFolder& seeds) {
  for (const auto& entry : std::filesystem::directory_iterator(samples)) {
    const std::string extension = entry.path().extension().string();
    const bool is_stream = extension == ".aac" || extension == ".amr" || extension == ".awb";
    if (is_stream) seeds.add_media(entry.path().filename().string(), beginning_of(entry.path()));
  }
}

std::vector<TrackDescription> video_tracks() {
  const Bytes mpeg4 =
      esds({.object_type = 0x20, .stream_type = 4, .decoder_specific_info = {0, 0, 1, 0xB0, 3}});
  const Bytes h263 = d263(kVendor, 1, 10, 0, bitr(1000, 2000));
  std::vector<TrackDescription> tracks = {avc_track(12), video_track(video_entry("mp4v", 352, 288, mpeg4)),
                                          video_track(video_entry("s263", 176, 144, h263))};
  for (TrackDescription& track : tracks) track.sync_samples = {1, 5, 9};
  return tracks;
}

std::vector<TrackDescription> audio_tracks() {
  const auto speech = [](const char* entry, const Bytes& configuration) {
    return audio_track(audio_entry(entry, 2, 8000, configuration), 40);
  };
  const Bytes qcelp =
      esds({.object_type = 0xE1, .average_bitrate = 13300, .decoder_specific_info = {0x51, 0x4C}});
  return {amr_track(40),
          aac_track(40),
          speech("sawb", damr(kVendor, 1, 0x83FF, 0, 1)),
          speech("sqcp", speech_configuration("dqcp", kVendor, 1, 1)),
          speech("sevc", speech_configuration("devc", kVendor, 1, 1)),
          audio_track(audio_entry("mp4a", 1, 8000, qcelp)),
          audio_track(audio_entry("ac-3", 6, 48000, dac3())),
          audio_track(audio_entry("ec-3", 2, 44100, dec3(192, {Eac3Substream{}})))};
}

void add_movies(const SeedFolder& seeds) {
  const auto add = [&](const std::string& name, const MovieDescription& movie) {
    seeds.add_media(name, build_movie(movie).bytes);
  };
  const std::vector<TrackDescription> video = video_tracks();
  const std::vector<TrackDescription> audio = audio_tracks();
  for (size_t i = 0; i < audio.size(); ++i) {
    add("movie" + std::to_string(i),
        {.tracks = {audio[i], video[i % video.size()]}, .moov_first = i % 2 == 0});
  }
  TrackDescription varied = video[0];
  varied.edits = {{100, -1}, {500, 200}};
  varied.replaced["ctts"] = ctts({{6, 100}, {6, 0}});
  varied.durations = {40, 80, 40};
  varied.samples_per_chunk = {2, 3, 1};
  varied.appended["trak"] = box("udta", concat({full_hinf(), hnti("v=0\r\n")}));
  TrackDescription text = amr_track(1);
  text.handler = "text";
  const Bytes tags =
      concat({box("udta", full_user_data()),
              full_box("meta", 0, 0, id32(kEnglish, id3v2(3, 0, v23_frame("TIT2", bytes_of("title")))))});
  add("tags", {.tracks = {varied, text}, .before_moov = box("free"), .moov_children = tags});
}

void add_tagged_audio(const std::filesystem::path& samples, const SeedFolder& seeds) {
  const Bytes audio = beginning_of(samples / "aac-lc-8k-mono.aac");
  const Bytes texts =
      concat({v23_frame("TIT2", bytes_of("title")), v23_frame("COMM", bytes_of("eng comment"))});
  const Bytes picture = v23_frame("APIC", bytes_of(std::string("\0image/png\0\3\0\x89PNG\r\n\x1A\n", 21)));
  seeds.add_media("tagged.aac",
                  concat({id3v2(3, 0, concat({texts, picture})), audio, id3v1("a", "b", "1999", 7)}));
  seeds.add_media("tagged22.aac", concat({id3v2(2, 0, v22_frame("TT2", bytes_of("title"))), audio}));
}

void add_registries(const SeedFolder& seeds) {
  const std::string body =
      "\n\n; a remark\n[HKEY_CURRENT_USER\\Software\\K]\n@=\"C:\\\\a \\\"b\\\"\"\n\"n\"=dword:0000001f\n"
      "\"m\"=hex(7):61,00,\\\n  00,00\n\"b\"=hex:01,02\n\"gone\"=-\n\n[-HKEY_CLASSES_ROOT\\.3gp]\n"
      "[HKEY_CLASSES_ROOT\\.3gp]\n\"\xC3\xA4\"=\"x\"\n";
  const std::string text = "Windows Registry Editor Version 5.00" + body;
  seeds.add("utf8.reg", bytes_of(text));
  seeds.add("old.reg", bytes_of("REGEDIT4" + body));
  std::string wide = "\xFF\xFE";
  for (const char character : text) wide.append({character, '\0'});
  seeds.add("wide.reg", bytes_of(wide));
}

}  // namespace
}  // namespace zdr::fuzz

int main(int argc, char** argv) {
  using namespace zdr::fuzz;
  if (argc != 3) {
    std::fputs("usage: make_seeds SAMPLES FOLDER\n", stderr);
    return 2;
  }
  const SeedFolder seeds(argv[2]);
  add_samples(argv[1], seeds);
  add_movies(seeds);
  add_tagged_audio(argv[1], seeds);
  add_registries(seeds);
  return 0;
}
