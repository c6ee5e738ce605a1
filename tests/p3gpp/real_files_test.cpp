// Real files: their tracks, codecs and samples are those that ffprobe reports, and a failure to open names
// the box. ZDR_EXTRA_MEDIA may name a folder of further files.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "mediakit/drivers/exercise.h"
#include "tests/p3gpp/opened_movie.h"
#include "tests/support/failing_allocator.h"

namespace zdr::test {
namespace {

struct RealFile {
  std::filesystem::path path;
  Bytes bytes;
};

// The samples, and the files of the further folder.
std::vector<RealFile> real_files() {
  std::vector<RealFile> files;
  for (const char* folder : {ZDR_SAMPLES_DIR, static_cast<const char*>(std::getenv("ZDR_EXTRA_MEDIA"))}) {
    if (folder == nullptr) continue;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      if (!entry.is_regular_file()) continue;
      const std::string content = read_file(entry.path());
      files.push_back({entry.path(), {content.begin(), content.end()}});
    }
  }
  return files;
}

// FNV-1a over sample_text() of every sample, one per line.
uint64_t hash_of_samples(P3gppFile* file, uint32_t track_id) {
  P3gppTrack* track = nullptr;
  if (P3GPP_OpenTrack(file, &track, track_id, 1024) != P3GPP_OK) return 0;
  uint64_t hash = 0xCBF29CE484222325;
  P3gppSample sample{};
  for (sample.number = 1; P3GPP_ReadSample(track, &sample) == P3GPP_OK; ++sample.number) {
    for (const char character : sample_text(sample) + "\n")
      hash = (hash ^ static_cast<uint8_t>(character)) * 0x100000001B3;
  }
  P3GPP_CloseTrack(track);
  return hash;
}

// The number after "name=".
uint32_t number_of(const std::string& fields, const std::string& name) {
  return static_cast<uint32_t>(std::stoul(fields.substr(fields.find(name + "=") + name.size() + 1)));
}

// "type fields, samples/time scale hash; " for every track.
std::string tracks_of(const OpenedMovie& movie) {
  std::ostringstream tracks;
  uint32_t id = 0;
  uint32_t time_scale = 0;
  for (const ShownBoxes::Box& each : boxes_of(movie).boxes) {
    const std::string type = each.header.type;
    if (type == "tkhd") id = number_of(each.fields, "track_id");
    if (type == "mdhd") time_scale = number_of(each.fields, "time_scale");
    const bool is_entry = each.path.find("/stsd/") != std::string::npos && each.path.ends_with("]");
    if (is_entry) tracks << type << ' ' << each.fields;
    if (type != "stsz") continue;
    tracks << ", " << number_of(each.fields, "sample_count") << '/' << time_scale << ' ' << std::hex
           << hash_of_samples(movie.file, id) << std::dec << "; ";
  }
  return tracks.str();
}

// The times ignore edit lists; the hashes cover ffprobe's packets.
TEST(RealFiles, HaveTheTracksCodecsAndSamplesThatFfprobeReports) {
  const std::string audio = "data_reference_index=1 channel_count=2 sample_size=16 sample_rate=";
  const std::string video = "data_reference_index=1 width=";
  const std::string small = video + "176 height=144, ";
  const std::string amr = "samr " + audio + "8000, ";
  const std::string part = "mp4v " + video + "128 height=96, 30/10240 ";
  // The file with AMR-WB lacks its configuration box, so the entry has no fields.
  const std::map<std::string, std::string> expected = {
      {"ac3.mp4", "ac-3 " + audio + "48000, 94/48000 6a1b91a51e0f7caf; "},
      {"avc-aac.mp4", "avc1 " + video + "320 height=180, 100/12800 3e608095f2259baa; mp4a " + audio +
                          "44100, 174/44100 bf51756b2b2b1de1; "},
      {"avc-bframes.mp4", "avc1 " + video + "320 height=180, 100/12800 f8f253222b9ff600; "},
      {"eac3.mp4", "ec-3 " + audio + "48000, 94/48000 c42786101a91202b; "},
      {"h263-amr.3gp", "s263 " + small + "60/15360 a0fc13499a480cb3; " + amr + "201/8000 15907591baa602ca; "},
      {"moov-first.3gp",
       "s263 " + small + "45/15360 143b830431ca6dc6; " + amr + "151/8000 eea6238bd5fbc31f; "},
      {"mpeg4-amrwb.3gp", "mp4v " + small + "60/15360 e98bf48d9b89bb7b; sawb , 200/16000 f550476ee371cda5; "},
      {"two-tracks.3gp", part + "600737640d7cbdd0; " + part + "72b4b29e85c011f6; " + amr +
                             "151/8000 7217902604a7b991; " + amr + "151/8000 60b53dc558f8f8e3; "}};
  std::map<std::string, std::string> found;
  for (const RealFile& file : real_files()) {
    const bool is_sample = file.path.parent_path() == ZDR_SAMPLES_DIR;
    if (is_sample && expected.contains(file.path.filename()))
      found[file.path.filename()] = tracks_of(OpenedMovie(file.bytes));
  }
  EXPECT_EQ(found, expected);
}

TEST(RealFiles, OpenOrNameTheBoxWhereTheyFail) {
  for (const RealFile& file : real_files()) {
    SCOPED_TRACE(file.path.filename());
    const OpenedMovie movie(file.bytes);
    const bool is_named = movie.error.path[0] != '\0';
    EXPECT_EQ(is_named, movie.error.status != P3GPP_OK && movie.error.status != P3GPP_ERR_NO_MOOV);
    EXPECT_LE(movie.error.offset, file.bytes.size());
    const Source source(FMGR_DEV_MEMORY, as_text(file.bytes));
    const Context context = make_context(0, 0);
    const FailingAllocator watch(0);
    EXPECT_EQ(exercise(source.descriptor(), context.get(), 200).undocumented_status, 0);
    EXPECT_LE(watch.largest(), std::max<size_t>(file.bytes.size(), 256 * 1024));
  }
}

}  // namespace
}  // namespace zdr::test
