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

std::string codec_text(const P3gppDecoderInfo& info) {
  const auto pair = [](const char* name, uint32_t a, char separator, uint32_t b) {
    return name + std::to_string(a) + separator + std::to_string(b);
  };
  const auto& u = info.u;
  switch (info.object_type) {
    case P3GPP_OTI_AVC:
      return pair("avc ", u.avc.width, 'x', u.avc.height);
    case P3GPP_OTI_H263:
      return pair("h263 ", u.h263.width, 'x', u.h263.height);
    case P3GPP_OTI_MPEG4_VISUAL:
      return pair("mpeg4 ", u.systems.width, 'x', u.systems.height);
    case P3GPP_OTI_AAC:
      return pair("aac ", u.systems.channel_count, '@', u.systems.sample_rate);
    case P3GPP_OTI_AC3:
      return pair("ac3 ", u.ac3.channel_count, '@', u.ac3.sample_rate);
    case P3GPP_OTI_EAC3:
      return pair("eac3 ", u.eac3.channel_count, '@', u.eac3.sample_rate);
    default:
      return info.object_type == P3GPP_OTI_AMR      ? "amr"
             : info.object_type == P3GPP_OTI_AMR_WB ? "amr-wb"
                                                    : "?";
  }
}

// "codec samples/time scale, " of every video and audio track.
std::string tracks_of(P3gppFile* file) {
  std::string tracks;
  for (const uint32_t type : {P3GPP_TRACK_VIDEO, P3GPP_TRACK_AUDIO}) {
    std::vector<uint32_t> ids(64);
    uint32_t count = 0;
    EXPECT_EQ(P3GPP_GetTrackIds(file, type, ids.data(), &count), P3GPP_OK);
    for (uint32_t i = 0; i < count; ++i) {
      const DecoderInfo decoder(file, ids[i]);
      P3gppTrackInfo* info = nullptr;
      EXPECT_EQ(P3GPP_GetTrackInfo(file, ids[i], &info), P3GPP_OK);
      tracks += codec_text(*decoder.get()) + ' ' + std::to_string(info->sample_count) + '/' +
                std::to_string(info->time_scale) + ", ";
      info->release(info);
    }
  }
  return tracks;
}

TEST(RealFiles, HaveTheTracksAndCodecsThatFfprobeSees) {
  const std::map<std::string, std::string> expected = {
      {"ac3.mp4", "ac3 2@48000 94/48000, "},
      {"avc-aac.mp4", "avc 320x180 100/12800, aac 2@44100 174/44100, "},
      {"avc-bframes.mp4", "avc 320x180 100/12800, "},
      {"eac3.mp4", "eac3 2@48000 94/48000, "},
      {"h263-amr.3gp", "h263 176x144 60/15360, amr 201/8000, "},
      {"moov-first.3gp", "h263 176x144 45/15360, amr 151/8000, "},
      {"mpeg4-amrwb.3gp", "mpeg4 176x144 60/15360, amr-wb 200/16000, "},
      {"two-tracks.3gp", "mpeg4 128x96 30/10240, mpeg4 128x96 30/10240, amr 151/8000, amr 151/8000, "},
  };
  std::map<std::string, std::string> found;
  for (const RealFile& file : real_files()) {
    if (!file.is_sample || !expected.contains(file.path.filename())) continue;
    found[file.path.filename()] = tracks_of(OpenedMovie(file.bytes).file);
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
