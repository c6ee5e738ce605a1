// Real files: their tracks and codecs as ffprobe sees them, every sample where plainly expanded tables place
// it, and a named reason where one does not open. ZDR_EXTRA_MEDIA may name a folder of more of them.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "exercise.h"
#include "lookup_answers.h"
#include "lookup_model.h"
#include "shown_boxes.h"
#include "tests/support/failing_allocator.h"
#include "track_file.h"

namespace zdr::test {
namespace {

struct RealFile {
  std::filesystem::path path;
  bool is_sample;  // of this project, and sound
  Bytes bytes;
};

std::vector<RealFile> real_files() {
  std::vector<RealFile> files;
  const char* const folders[] = {ZDR_SAMPLES_DIR, std::getenv("ZDR_EXTRA_MEDIA")};
  for (const char* folder : folders) {
    if (folder == nullptr) continue;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      if (!entry.is_regular_file()) continue;
      std::ifstream stream(entry.path(), std::ios::binary);
      files.push_back({entry.path(), folder == folders[0], {std::istreambuf_iterator<char>(stream), {}}});
    }
  }
  return files;
}

// ---- Tracks and codecs ------------------------------------------------------------------------------------

// "type fields, samples/time scale; " of every sample entry.
std::string tracks_of(const OpenedMovie& movie) {
  std::string tracks;
  std::string time_scale;
  for (const ShownBoxes::Box& each : boxes_of(movie).boxes) {
    const std::string type = each.header.type;
    const std::string& fields = each.fields;
    if (type == "mdhd") time_scale = fields.substr(fields.find("time_scale=") + 11);
    const bool is_entry = each.path.find("/stsd/") != std::string::npos && each.path.ends_with("]");
    if (is_entry) tracks += type + ' ' + fields;
    if (type != "stsz") continue;
    tracks += ", " + fields.substr(fields.find("sample_count=") + 13) + '/' +
              time_scale.substr(0, time_scale.find(' ')) + "; ";
  }
  return tracks;
}

TEST(RealFiles, HaveTheTracksAndCodecsThatFfprobeSees) {
  const std::string audio = "data_reference_index=1 channel_count=2 sample_size=16 sample_rate=";
  const std::string video = "data_reference_index=1 width=";
  const std::string amr = "samr " + audio + "8000, 151/8000; ";
  const std::string two = "mp4v " + video + "128 height=96, 30/10240; ";
  // The writer of the file with AMR-WB leaves its configuration out, so that nothing is kept of the entry.
  const std::map<std::string, std::string> expected = {
      {"ac3.mp4", "ac-3 " + audio + "48000, 94/48000; "},
      {"avc-aac.mp4", "avc1 " + video + "320 height=180, 100/12800; mp4a " + audio + "44100, 174/44100; "},
      {"avc-bframes.mp4", "avc1 " + video + "320 height=180, 100/12800; "},
      {"eac3.mp4", "ec-3 " + audio + "48000, 94/48000; "},
      {"h263-amr.3gp", "s263 " + video + "176 height=144, 60/15360; samr " + audio + "8000, 201/8000; "},
      {"moov-first.3gp", "s263 " + video + "176 height=144, 45/15360; samr " + audio + "8000, 151/8000; "},
      {"mpeg4-amrwb.3gp", "mp4v " + video + "176 height=144, 60/15360; sawb , 200/16000; "},
      {"two-tracks.3gp", two + two + amr + amr}};
  std::map<std::string, std::string> found;
  for (const RealFile& file : real_files()) {
    if (!file.is_sample || !expected.contains(file.path.filename())) continue;
    found[file.path.filename()] = tracks_of(OpenedMovie(file.bytes));
  }
  EXPECT_EQ(found, expected);
}

// ---- Samples ----------------------------------------------------------------------------------------------

struct Range {
  size_t begin;
  size_t end;
};
using Boxes = std::multimap<std::string, Range>;  // bodies by type, in file order

Boxes boxes_in(const Bytes& file, Range range) {
  Boxes found;
  while (range.begin + 8 <= range.end) {
    uint64_t size = load_be32(file, range.begin);
    const size_t header = size == 1 ? 16 : 8;
    if (size == 1)
      size = uint64_t{load_be32(file, range.begin + 8)} << 32 | load_be32(file, range.begin + 12);
    if (size < header || size > range.end - range.begin) break;
    const auto type = file.begin() + static_cast<int64_t>(range.begin) + 4;
    found.emplace(std::string(type, type + 4), Range{range.begin + header, range.begin + size});
    range.begin += size;
  }
  return found;
}

// Words of a table behind version, flags and `skipped` words; throws out_of_range for a box that is missing.
std::vector<uint32_t> words_of(const Bytes& file, const Boxes& boxes, const char* type, size_t skipped) {
  const auto found = boxes.find(type);
  if (found == boxes.end()) throw std::out_of_range(type);
  std::vector<uint32_t> words;
  for (size_t at = found->second.begin + 4 + 4 * skipped; at + 4 <= found->second.end; at += 4) {
    words.push_back(load_be32(file, at));
  }
  return words;
}

Runs runs_of(const std::vector<uint32_t>& words) {
  Runs runs;
  for (size_t i = 0; i + 1 < words.size(); i += 2) runs.emplace_back(words[i], words[i + 1]);
  return runs;
}

TrackTables tables_of(const Bytes& file, const Boxes& trak) {
  const auto inside = [&](const Boxes& boxes, const char* type) {
    const auto found = boxes.find(type);
    return found == boxes.end() ? Boxes() : boxes_in(file, found->second);
  };
  TrackTables tables;
  const std::vector<uint32_t> tkhd = words_of(file, trak, "tkhd", 0);
  tables.id = tkhd.at(file[trak.find("tkhd")->second.begin] == 1 ? 4 : 2);
  const Boxes stbl = inside(inside(inside(trak, "mdia"), "minf"), "stbl");
  tables.stts = runs_of(words_of(file, stbl, "stts", 1));
  tables.has_ctts = stbl.contains("ctts");
  if (tables.has_ctts) tables.ctts = runs_of(words_of(file, stbl, "ctts", 1));
  tables.stsc.clear();
  const std::vector<uint32_t> chunks = words_of(file, stbl, "stsc", 1);
  for (size_t i = 0; i + 2 < chunks.size(); i += 3)
    tables.stsc.push_back({chunks[i], chunks[i + 1], chunks[i + 2]});
  tables.co64 = !stbl.contains("stco");
  const std::vector<uint32_t> offsets = words_of(file, stbl, tables.co64 ? "co64" : "stco", 1);
  tables.chunk_offsets.assign(offsets.begin(), offsets.end());
  if (tables.co64) {
    tables.chunk_offsets.clear();
    for (const auto& [high, low] : runs_of(offsets))
      tables.chunk_offsets.push_back(uint64_t{high} << 32 | low);
  }
  tables.sizes = words_of(file, stbl, "stsz", 0);
  tables.default_size = tables.sizes.at(0);
  tables.default_count = tables.sizes.at(1);
  tables.sizes.erase(tables.sizes.begin(), tables.sizes.begin() + 2);
  const Boxes edts = inside(trak, "edts");
  const std::vector<uint32_t> edits =
      edts.contains("elst") ? words_of(file, edts, "elst", 1) : std::vector<uint32_t>();
  for (size_t i = 0; i + 2 < edits.size(); i += 3) tables.edits.push_back({edits[i], int32_t(edits[i + 1])});
  return tables;
}

// Number of samples compared.
uint32_t compare_samples(P3gppTrack* track, const TrackTables& tables, const Bytes& file) {
  LookupModel model(tables);
  uint32_t compared = 0;
  P3gppSample expected{};
  P3gppSample sample{};
  for (uint32_t n = 1; n <= tables.sample_count() && !testing::Test::HasFailure(); ++n, ++compared) {
    sample.number = expected.number = n;
    if (model.locate(expected) != P3GPP_OK) break;
    Bytes bytes(expected.size);
    sample.buffer = bytes.data();
    const bool in_file = expected.file_offset + expected.size <= file.size();
    EXPECT_EQ(P3GPP_ReadSample(track, &sample), in_file ? P3GPP_OK : P3GPP_ERR_READ) << "sample " << n;
    EXPECT_EQ(sample_text(sample), sample_text(expected)) << "sample " << n;
    const auto* content = file.data() + (in_file ? expected.file_offset : 0);
    EXPECT_TRUE(!in_file || std::equal(bytes.begin(), bytes.end(), content)) << "sample " << n;
  }
  return compared;
}

TEST(RealFiles, EverySampleLiesWhereExpandedTablesPlaceIt) {
  for (const RealFile& file : real_files()) {
    SCOPED_TRACE(file.path.filename());
    const Boxes top = boxes_in(file.bytes, {0, file.bytes.size()});
    const OpenedMovie movie(file.bytes);
    if (movie.status != P3GPP_OK || !top.contains("moov")) continue;
    uint32_t samples = 0;
    const Boxes moov = boxes_in(file.bytes, top.find("moov")->second);
    for (auto trak = moov.lower_bound("trak"); trak != moov.upper_bound("trak"); ++trak) {
      try {
        const TrackTables tables = tables_of(file.bytes, boxes_in(file.bytes, trak->second));
        P3gppTrack* track = nullptr;
        if (P3GPP_OpenTrack(movie.file, &track, tables.id, 1024) != P3GPP_OK) continue;
        samples += compare_samples(track, tables, file.bytes);
        P3GPP_CloseTrack(track);
      } catch (const std::out_of_range&) {  // a box is missing or cut short: nothing to compare with
      }
    }
    EXPECT_TRUE(samples > 10 || !file.is_sample) << samples;
  }
}

// ---- Any file ---------------------------------------------------------------------------------------------

// Whatever it is: a documented status, the place of the error, and no memory beyond its size.
TEST(RealFiles, OpenOrTellWhereTheyFail) {
  for (const RealFile& file : real_files()) {
    SCOPED_TRACE(file.path.filename());
    const OpenedMovie movie(file.bytes);
    const bool is_named = movie.error.path[0] != '\0';
    EXPECT_EQ(is_named, movie.error.status != P3GPP_OK && movie.error.status != P3GPP_ERR_NO_MOOV);
    EXPECT_LE(movie.error.offset, file.bytes.size());
    MemorySource source(file.bytes);
    FMGR_Context* context = nullptr;
    const FMGR_Config config{0, 0};
    ASSERT_EQ(FMGR_Init(&context, &config), FMGR_OK);
    {
      const FailingAllocator watch(0);
      EXPECT_EQ(exercise(source.descriptor, context, 200).undocumented_status, 0);
      EXPECT_LE(watch.largest(), std::max<size_t>(file.bytes.size(), 256 * 1024));
    }
    FMGR_Deinit(context);
  }
}

}  // namespace
}  // namespace zdr::test
