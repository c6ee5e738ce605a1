// Finding and opening tracks: missing boxes and tables, the cache budget, counts and records.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>

#include "os/os.h"
#include "p3gpp/boxes/sample_tables.h"
#include "p3gpp/samples/track_access.h"
#include "tests/p3gpp/samples/track_file.h"

namespace zdr::test {
namespace {

using Numbers = std::vector<uint32_t>;

TEST(TrackAccess, KeptEachMissingBoxHasItsStatus) {
  // Omitted box, statuses of opening and of the track's record, then largest size, bitrate and lookups of a
  // track that opens.
  const std::vector<std::tuple<const char*, int32_t, int32_t, std::string>> cases = {
      {"", P3GPP_OK, P3GPP_OK, "16 0 o1=0:16:1:0:0 d1=0:0 t1=1@0 s1=1 f1=2"},
      {"tkhd", P3GPP_ERR_NO_TRACK, P3GPP_ERR_NO_TRACK, ""},
      {"mdia", P3GPP_ERR_NO_MDIA, P3GPP_ERR_NO_MDIA, ""},
      {"mdhd", P3GPP_ERR_NO_MDHD_OR_HDLR, P3GPP_ERR_NO_MDHD_OR_HDLR, ""},
      {"hdlr", P3GPP_ERR_NO_MDHD_OR_HDLR, P3GPP_ERR_NO_MDHD_OR_HDLR, ""},
      {"minf", P3GPP_ERR_NO_MINF, P3GPP_ERR_NO_MINF, ""},
      {"stbl", P3GPP_ERR_NO_STBL, P3GPP_ERR_NO_STBL, ""},
      {"stsc", P3GPP_ERR_NO_TABLE, P3GPP_OK, ""},
      {"stsd", P3GPP_OK, P3GPP_ERR_NO_TABLE, "-7047 -6001 o1=0:16:1:0:0 d1=0:0 t1=-7047 s1=-7047 f1=-7047"},
      {"stsz", P3GPP_OK, P3GPP_ERR_NO_TABLE, "-7047 -6001 o1=-7047 d1=-7047 t1=-7047 s1=-7047 f1=-7047"},
      {"stts", P3GPP_OK, P3GPP_OK, "16 0 o1=-7047 d1=-7047 t1=-7047 s1=1 f1=2"},
      {"stco", P3GPP_OK, P3GPP_OK, "16 0 o1=-7047 d1=0:0 t1=1@0 s1=1 f1=2"},
  };
  for (const auto& [omitted, open_status, info_status, calls] : cases) {
    SCOPED_TRACE(omitted);
    const TrackDescription description = raw_track(10, 16, {{omitted, {}}});
    const OpenTrack track(description);
    EXPECT_EQ(track.status(), open_status);
    P3gppTrackInfo* info = nullptr;
    EXPECT_EQ(P3GPP_GetTrackInfo(track.file(), 1, &info), info_status);
    EXPECT_EQ(info != nullptr, info_status == P3GPP_OK);
    if (info != nullptr) info->release(info);
    // The stsd of this track has no entry.
    EXPECT_EQ(decoder_status(track.file(), 1), info_status == P3GPP_OK ? P3GPP_ERR_NO_TABLE : info_status);
    if (calls.empty()) continue;
    uint32_t size = 0;
    float bitrate = 0;
    const int32_t size_status = P3GPP_GetMaxSampleSize(track.get(), &size);
    const std::string results = std::to_string(size_status + static_cast<int32_t>(size)) + ' ' +
                                std::to_string(P3GPP_GetBitrate(track.get(), &bitrate)) + ' ';
    EXPECT_EQ(results + replayed(description, calls.substr(results.size())), calls);
  }
}

TEST(TrackAccess, NullArgumentsAndUnknownCodesAreRefused) {
  OpenTrack opened(raw_track());
  P3gppTrack* const track = opened.get();
  P3gppFile* const file = opened.file();
  FMGR_Descriptor& descriptor = opened.source().descriptor();
  uint32_t a = 1;
  P3gppTrack* handle = nullptr;
  P3gppFile* another = nullptr;
  P3gppTag tag{};
  P3gppSample sample{};
  const P3gppBoxVisitor no_visitor{};
  const std::vector<int32_t> statuses = {
      P3GPP_GetMovieInfo(file, nullptr),
      P3GPP_GetTrackIds(file, 0, nullptr, &a),
      P3GPP_GetDecoderInfo(file, 1, nullptr, 1),
      P3GPP_OpenTrack(file, &handle, 99, 0),  // checked before the ID
      P3GPP_CloseTrack(nullptr),
      P3GPP_ReadSample(track, nullptr),
      P3GPP_LocateSamples(track, &sample, 0, &a),
      P3GPP_GetSampleTime(track, 1, &a, nullptr),
      P3GPP_IsSyncSample(track, 1, nullptr),
      P3GPP_FindSyncSample(track, nullptr, P3GPP_SYNC_FORWARD),
      P3GPP_GetHintInfo(file, 1, nullptr),
      P3GPP_GetTag(file, 0, &tag),
      P3GPP_GetTag(file, P3GPP_TAG_COUNT + 1, &tag),
      P3GPP_WalkBoxes(file, &no_visitor),
      P3GPP_OpenTraced(&another, &descriptor, nullptr, nullptr, &no_visitor),
      P3GPP_Close(nullptr)};
  EXPECT_THAT(statuses, testing::Each(P3GPP_ERR_BAD_ARGUMENT));
  P3gppOpenError error{};
  EXPECT_EQ(P3GPP_OpenExplained(&another, &descriptor, nullptr, &error), P3GPP_ERR_OPEN) << "no file manager";
  EXPECT_EQ(error.status, P3GPP_ERR_OPEN);
  EXPECT_EQ(another, nullptr);
  EXPECT_EQ(P3GPP_GetBitrate(nullptr, nullptr), P3GPP_ERR_GENERIC);
}

TEST(TrackAccess, MovieInfoOwnsACopyOfTheObjectDescriptor) {
  // An object descriptor without bytes does not replace the one before it.
  const OpenedMovie movie(box("moov", {mvhd(), full_box("iods", 0, 0, {7, 8, 9}), full_box("iods", 0, 0)}));
  P3gppMovieInfo info{};
  ASSERT_EQ(P3GPP_GetMovieInfo(movie.file, &info), P3GPP_OK);
  EXPECT_EQ(hex(info.iods, info.iods_length), "070809");
  info.release(&info);
  EXPECT_EQ(info.iods, nullptr);
  EXPECT_EQ(info.iods_length + info.time_scale, 0u);
  EXPECT_EQ(P3GPP_GetMovieInfo(OpenedMovie(box("moov")).file, &info), P3GPP_ERR_NO_MOOV_PAYLOAD);
}

TEST(TrackAccess, TrackIsOpenOnceUntilItIsClosed) {
  const OpenedMovie movie(make_file({raw_track()}));
  P3gppTrack* track = nullptr;
  EXPECT_EQ(P3GPP_OpenTrack(movie.file, &track, 99, 100), P3GPP_ERR_NO_TRACK);
  ASSERT_EQ(P3GPP_OpenTrack(movie.file, &track, 1, 100), P3GPP_OK);
  ASSERT_EQ(P3GPP_OpenTrack(movie.file, &track, 1, 100), P3GPP_OK);  // closes the earlier one
  EXPECT_EQ(P3GPP_CloseTrack(track), P3GPP_OK);
  uint32_t size = 0;
  EXPECT_EQ(P3GPP_GetMaxSampleSize(track, &size), P3GPP_ERR_GENERIC);
  EXPECT_EQ(P3GPP_CloseTrack(track), P3GPP_ERR_GENERIC);
}

TEST(TrackAccess, AFailedOpenFreesStreamsAndCaches) {
  const Source source(FMGR_DEV_FILE, as_text(make_file({raw_track(10, 16, {{"stsc", stsc({{2, 10}})}})})));
  const Context context = make_context(0, 0);
  P3gppFile* file = nullptr;
  ASSERT_EQ(P3GPP_Open(&file, &source.descriptor(), context.get()), P3GPP_OK);
  P3gppTrack* track = nullptr;
  EXPECT_EQ(P3GPP_OpenTrack(file, &track, 1, 1024), P3GPP_ERR_NO_TABLE);
  void* const writer = OS_fopen(source.path().u16string().c_str(), "r+");  // fails while another handle reads
  EXPECT_EQ(OS_fclose(writer), 0);
  p3gpp::TrackPath path;
  ASSERT_EQ(p3gpp::find_tables(*file, 1, path), P3GPP_OK);
  for (const p3gpp::BoxSlot* table : {&path.stbl->stts, &path.stbl->stsz, &path.stbl->stsc, &path.stbl->stco})
    EXPECT_EQ(p3gpp::payload_of<p3gpp::AnyTablePayload>(*table)->cursor.cache_capacity(), 0u);
  P3GPP_Close(file);
}

// --- Caches ---

// The first reads of an open track fill the caches, in the order in which the budget is distributed.
TEST(TrackAccess, KeptBudgetIsDistributedTableByTable) {
  std::vector<uint32_t> numbers(5000);
  std::iota(numbers.begin(), numbers.end(), 1);
  std::vector<ChunkRun> chunks;
  for (const uint32_t number : numbers) chunks.push_back({number, 1});
  const TrackDescription description =
      raw_track(5000, 8,
                {{"stts", stts(Runs(5000, {1, 10}))},
                 {"ctts", ctts({{5000, 1}})},  // smaller than its share: the rest is left for later tables
                 {"stss", stss(numbers)},
                 {"stsc", stsc(chunks)},
                 {"stco", stco(std::vector<uint64_t>(5000, 100))}});
  // Budget, and the bytes of stts, ctts, stss, stsz, stsc and stco.
  const std::vector<std::pair<uint32_t, Numbers>> cases = {{100, {168, 8, 208, 208, 204, 212}},
                                                           {1024, {168, 8, 208, 208, 204, 212}},
                                                           {8192, {1360, 8, 1704, 1704, 1704, 1704}},
                                                           {24576, {4096, 8, 5116, 5116, 5112, 5116}}};
  for (const auto& [budget, expected] : cases) {
    OpenTrack track(description, 0, budget);
    const std::vector<Source::Read>& reads = track.source().reads;
    Numbers counts;
    for (auto read = reads.end() - 6; read != reads.end(); ++read) counts.push_back(read->count);
    EXPECT_EQ(counts, expected) << budget;
  }
}

TEST(TrackAccess, KeptReadingBackwardsRefillsHalfBlocks) {
  std::vector<uint64_t> offsets;
  for (uint32_t n = 0; n < 6000; ++n) offsets.push_back(n * 8);
  const auto refills = [](OpenTrack& track, int64_t step) {
    const size_t before = track.source().reads.size();
    for (int64_t number = step > 0 ? 1 : 6000; number >= 1 && number <= 6000; number += step)
      EXPECT_EQ(track.offset_of(static_cast<uint32_t>(number)), (number - 1) * 8);
    return static_cast<double>(track.source().reads.size() - before);
  };
  // A budget of 1024 bytes caches 84 sizes and 166 chunk offsets.
  OpenTrack chunks(raw_track(6000, 8, {{"stsc", stsc({{1, 1}})}, {"stco", stco(offsets)}}));
  EXPECT_NEAR(refills(chunks, 1), 6000.0 / 84 + 6000.0 / 166, 3);
  EXPECT_NEAR(refills(chunks, -1), 6000.0 / 42 + 6000.0 / 83, 6);
  // The sizes before a sample in its chunk are not added up again for each sample.
  OpenTrack one_chunk(raw_track(6000, 8));
  EXPECT_NEAR(refills(one_chunk, 2), 6000.0 / 84, 3);
}

// --- Counts and records ---

TEST(TrackAccess, KeptTextTracksHaveIdsButAreNotCounted) {
  std::vector<TrackDescription> tracks;
  for (const char* handler :
       {"vide", "soun", "hint", "sdsm", "odsm", "text", "meta", "subt", "soun", "soun", "soun"}) {
    tracks.push_back(raw_track(static_cast<uint32_t>(tracks.size())));
    tracks.back().handler = handler;
  }
  tracks[8].replaced["tkhd"] = tkhd({.track_id = 2});
  tracks[9].replaced["hdlr"] = {};
  tracks[10].replaced["tkhd"] = {};  // counted, but without an ID
  const OpenedMovie movie(make_file(tracks));
  P3gppTrackCounts counts{};
  ASSERT_EQ(P3GPP_GetTrackCounts(movie.file, &counts), P3GPP_OK);
  EXPECT_EQ((Numbers{counts.total, counts.video, counts.audio, counts.metadata, counts.hint,
                     counts.object_descriptor, counts.scene_description}),
            (Numbers{8, 1, 3, 1, 1, 1, 1}));
  const auto ids = [&](uint32_t type) {
    Numbers found(16);
    uint32_t count = 0;
    EXPECT_EQ(P3GPP_GetTrackIds(movie.file, type, found.data(), &count), P3GPP_OK);
    found.resize(count);
    return found;
  };
  EXPECT_EQ(ids(P3GPP_TRACK_AUDIO), (Numbers{2, 2}));
  EXPECT_EQ(ids(P3GPP_TRACK_TEXT), (Numbers{6}));
  EXPECT_EQ(ids(P3GPP_TRACK_METADATA), (Numbers{7}));
  EXPECT_EQ(ids(6), Numbers{});
  auto* info = reinterpret_cast<P3gppTrackInfo*>(&counts);
  EXPECT_EQ(P3GPP_GetTrackInfo(movie.file, 8, &info), P3GPP_ERR_UNKNOWN_HANDLER);
  EXPECT_EQ(info, nullptr);
  ASSERT_EQ(P3GPP_GetTrackInfo(movie.file, 2, &info), P3GPP_OK);
  EXPECT_EQ(info->sample_count, 1u) << "of the first track with the ID";
  info->release(info);
}

TEST(TrackAccess, KeptBitrateLeavesOutTheLastSampleAndFailsBelowASecond) {
  const Bytes sizes = stsz({16, 16, 1000000});
  const std::vector<std::tuple<uint32_t, uint32_t, Bytes, int32_t, float>> cases = {
      {2500, 1000, sizes, P3GPP_OK, 2 * 16 * 8 / 2.5F},
      {1000, 1000, sizes, P3GPP_OK, 2 * 16 * 8},
      {900, 1000, sizes, P3GPP_ERR_GENERIC, 0},
      {1000, 0, sizes, P3GPP_ERR_GENERIC, 0},
      {2500, 1000, stsz({}), P3GPP_OK, 0},
      {0xFFFFFFFF, 1000, constant_stsz(1000, 0xFFFFFFFF), P3GPP_OK, 8e6F},
  };
  for (const auto& [duration, time_scale, size_table, status, expected] : cases) {
    const OpenTrack track(raw_track(
        3, 0, {{"mdhd", mdhd({.time_scale = time_scale, .duration = duration})}, {"stsz", size_table}}));
    float bits_per_second = 99;
    EXPECT_EQ(P3GPP_GetBitrate(track.get(), &bits_per_second), status);
    EXPECT_FLOAT_EQ(bits_per_second, expected) << duration;
  }
}

TEST(TrackAccess, LargestSizeIsFoundAnywhereInALargeTable) {
  // The second size is larger as a number without sign, and in one order of its bytes only.
  for (const auto& [others, largest] : {std::pair{0x82FFFFFFu, 0x83010200u}, {0x7FFFu, 0x8000u}}) {
    for (const uint32_t place : {0u, 70001u, 149999u, 150002u}) {
      std::vector<uint32_t> sizes(150003, others);
      sizes[place] = largest;
      uint32_t size = 0;
      P3GPP_GetMaxSampleSize(OpenTrack(raw_track(150003, 0, {{"stsz", stsz(sizes)}})).get(), &size);
      EXPECT_EQ(size, largest) << place;
    }
  }
}

}  // namespace
}  // namespace zdr::test
