// Finding and opening tracks: what is missing, the cache budget, counts and records.
#include <gtest/gtest.h>

#include "track_file.h"

namespace zdr::test {
namespace {

using Numbers = std::vector<uint32_t>;
using Statuses = std::vector<int32_t>;

TEST(TrackAccess, EachMissingBoxHasItsStatus) {
  for (const auto& [omitted, open_track, track_info] : std::vector<std::tuple<const char*, int32_t, int32_t>>{
           {"", P3GPP_OK, P3GPP_OK},
           {"tkhd", P3GPP_ERR_NO_TRACK, P3GPP_ERR_NO_TRACK},
           {"mdia", P3GPP_ERR_NO_MDIA, P3GPP_ERR_NO_MDIA},
           {"mdhd", P3GPP_ERR_NO_MDHD_OR_HDLR, P3GPP_ERR_NO_MDHD_OR_HDLR},
           {"hdlr", P3GPP_ERR_NO_MDHD_OR_HDLR, P3GPP_ERR_NO_MDHD_OR_HDLR},
           {"minf", P3GPP_ERR_NO_MINF, P3GPP_ERR_NO_MINF},
           {"stbl", P3GPP_ERR_NO_STBL, P3GPP_ERR_NO_STBL},
           {"stsc", P3GPP_ERR_NO_TABLE, P3GPP_OK},
           {"stsd", P3GPP_OK, P3GPP_ERR_NO_TABLE},
           {"stsz", P3GPP_OK, P3GPP_ERR_NO_TABLE},
       }) {
    SCOPED_TRACE(omitted);
    TrackTables tables;
    tables.omit = {omitted};
    const OpenTrack track(tables);
    EXPECT_EQ(track.status(), open_track);
    P3gppTrackInfo* info = nullptr;
    EXPECT_EQ(P3GPP_GetTrackInfo(track.file(), 1, &info), track_info);
    EXPECT_EQ(info != nullptr, track_info == P3GPP_OK);
    // The tracks of this file have no entry in their sample description.
    const int32_t decoder_info = track_info == P3GPP_OK ? P3GPP_ERR_NO_TABLE : track_info;
    EXPECT_EQ(DecoderInfo(track.file(), 1).status, decoder_info);
    if (info != nullptr) info->release(info);
  }
}

TEST(TrackAccess, AMissingTableFailsTheOperationsThatNeedIt) {
  for (const auto& [omitted, calls, size_status, bitrate_status] :
       std::vector<std::tuple<const char*, std::string, int32_t, int32_t>>{
           {"stsz", "o1=-7047 d1=-7047 t1=-7047 s1=-7047 f1=-7047", P3GPP_ERR_NO_TABLE, P3GPP_ERR_GENERIC},
           {"stsd", "o1=0:16:1:0:0 d1=0:0 t1=-7047 s1=-7047 f1=-7047", P3GPP_ERR_NO_TABLE, P3GPP_ERR_GENERIC},
           {"stts", "o1=-7047 d1=-7047 t1=-7047 s1=1 f1=2", P3GPP_OK, P3GPP_OK},
           {"stco", "o1=-7047 d1=0:0 t1=1@0 s1=1 f1=2", P3GPP_OK, P3GPP_OK}}) {
    TrackTables tables;
    tables.omit = {omitted};
    EXPECT_EQ(replayed(tables, calls), calls) << omitted;
    const OpenTrack track(tables);
    uint32_t size = 0;
    float bitrate = 0;
    EXPECT_EQ(P3GPP_GetMaxSampleSize(track.get(), &size), size_status) << omitted;
    EXPECT_EQ(P3GPP_GetBitrate(track.get(), &bitrate), bitrate_status) << omitted;
  }
}

// Of every operation, codes beyond their ranges included.
TEST(TrackAccess, MissingArgumentsAreRefused) {
  OpenTrack opened((TrackTables()));
  P3gppTrack* const track = opened.get();
  P3gppFile* const file = opened.file();
  FMGR_Descriptor& descriptor = opened.source().descriptor;
  uint32_t a = 1;
  uint32_t b = 1;
  P3gppTrack* handle = nullptr;
  P3gppFile* another = nullptr;
  P3gppTag tag{};
  const P3gppBoxVisitor no_visitor{};
  const Statuses statuses = {P3GPP_GetMovieInfo(file, nullptr),
                             P3GPP_GetTrackCounts(file, nullptr),
                             P3GPP_GetTrackIds(file, 0, nullptr, &b),
                             P3GPP_GetTrackIds(file, 0, &a, nullptr),
                             P3GPP_GetTrackInfo(file, 1, nullptr),
                             P3GPP_GetDecoderInfo(file, 1, nullptr, 1),
                             P3GPP_OpenTrack(file, nullptr, 1, 100),
                             P3GPP_OpenTrack(file, &handle, 99, 0),  // before the ID is looked at
                             P3GPP_CloseTrack(nullptr),
                             P3GPP_GetMaxSampleSize(track, nullptr),
                             P3GPP_ReadSample(track, nullptr),
                             P3GPP_GetSampleTime(track, 1, nullptr, &b),
                             P3GPP_GetSampleTime(track, 1, &a, nullptr),
                             P3GPP_TimeToSample(track, nullptr, &b),
                             P3GPP_TimeToSample(track, &a, nullptr),
                             P3GPP_FindSyncSample(track, nullptr, 1),
                             P3GPP_IsSyncSample(track, 1, nullptr),
                             P3GPP_GetHintInfo(file, 1, nullptr),
                             P3GPP_GetId3Location(file, nullptr),
                             P3GPP_GetTag(file, 0, &tag),
                             P3GPP_GetTag(file, P3GPP_TAG_COUNT + 1, &tag),
                             P3GPP_GetTag(file, 1, nullptr),
                             P3GPP_WalkBoxes(file, nullptr),
                             P3GPP_WalkBoxes(file, &no_visitor),
                             P3GPP_OpenTraced(&another, &descriptor, nullptr, nullptr, &no_visitor),
                             P3GPP_Open(nullptr, &descriptor, nullptr),
                             P3GPP_Open(&another, nullptr, nullptr),
                             P3GPP_Close(nullptr)};
  EXPECT_EQ(statuses, Statuses(statuses.size(), P3GPP_ERR_BAD_ARGUMENT));
  P3gppOpenError error{};
  EXPECT_EQ(P3GPP_OpenExplained(&another, &descriptor, nullptr, &error), P3GPP_ERR_OPEN) << "no file manager";
  EXPECT_EQ(error.status, P3GPP_ERR_OPEN);
  EXPECT_EQ(another, nullptr);
}

TEST(TrackAccess, MovieInfoComesFromTheMovieHeaderWithACopyOfTheObjectDescriptor) {
  const MovieHeader header{.creation_time = 21, .modification_time = 22, .time_scale = 600, .duration = 6000};
  // An object descriptor without bytes does not replace the one before it.
  const OpenedMovie movie(
      box("moov", {mvhd(header), full_box("iods", 0, 0, {7, 8, 9}), full_box("iods", 0, 0)}));
  P3gppMovieInfo info{};
  ASSERT_EQ(P3GPP_GetMovieInfo(movie.file, &info), P3GPP_OK);
  EXPECT_EQ((Numbers{info.creation_time, info.modification_time, info.time_scale, info.duration}),
            (Numbers{21, 22, 600, 6000}));
  EXPECT_EQ(Bytes(info.iods, info.iods + info.iods_length), (Bytes{7, 8, 9}));
  info.release(&info);
  EXPECT_EQ(info.iods, nullptr);
  EXPECT_EQ(info.iods_length + info.time_scale, 0u);
  const OpenedMovie bare(box("moov"));
  EXPECT_EQ(P3GPP_GetMovieInfo(bare.file, &info), P3GPP_ERR_NO_MOOV_PAYLOAD);
}

TEST(TrackAccess, ATrackIsOpenOnceUntilItIsClosed) {
  OpenedMovie movie(make_file({TrackTables{}}));
  P3gppTrack* track = nullptr;
  EXPECT_EQ(P3GPP_OpenTrack(movie.file, &track, 99, 100), P3GPP_ERR_NO_TRACK);
  ASSERT_EQ(P3GPP_OpenTrack(movie.file, &track, 1, 100), P3GPP_OK);
  ASSERT_EQ(P3GPP_OpenTrack(movie.file, &track, 1, 100), P3GPP_OK);  // closes the earlier one
  EXPECT_EQ(P3GPP_CloseTrack(track), P3GPP_OK);
  uint32_t size = 0;
  EXPECT_EQ(P3GPP_GetMaxSampleSize(track, &size), P3GPP_ERR_GENERIC);
  EXPECT_EQ(P3GPP_CloseTrack(track), P3GPP_ERR_GENERIC);
}

// ---- Caches -----------------------------------------------------------------------------------------------

// The first reads of an opened track are the cache fills, in the order in which the budget is handed out.
TEST(TrackAccess, TheBudgetIsSharedOutTableByTableByRequirement) {
  TrackTables tables = plain_tables(5000, 8);
  tables.stts.assign(5000, {1u, 10u});
  tables.has_ctts = true;
  tables.ctts = {{5000, 1}};  // smaller than its share: what it leaves goes on
  tables.has_stss = true;
  tables.stsc.clear();
  for (uint32_t n = 1; n <= 5000; ++n) tables.stss.push_back(n);
  for (uint32_t n = 1; n <= 5000; ++n) tables.stsc.push_back({n, 1});
  tables.chunk_offsets.assign(5000, 100);
  OpenedMovie movie(make_file({tables}));
  for (const uint32_t asked : {100u, 1024u, 8192u, 24576u}) {
    std::vector<MemorySource::Read> reads;
    movie.source.log = &reads;
    P3gppTrack* track = nullptr;
    ASSERT_EQ(P3GPP_OpenTrack(movie.file, &track, 1, asked), P3GPP_OK);
    uint32_t left = std::max(asked, 1024u);
    const auto share = [&](uint32_t divisor, uint32_t table_bytes, uint32_t entry_size) {
      const uint32_t granted = std::min(left / divisor, table_bytes);
      left -= granted;
      return granted / entry_size * entry_size;
    };
    const Numbers expected = {share(6, 40000, 8), share(5, 8, 8),      share(4, 20000, 4),
                              share(3, 20000, 4), share(2, 60000, 12), share(1, 20000, 4)};
    Numbers actual;
    for (const auto& read : reads) actual.push_back(read.count);
    EXPECT_EQ(actual, expected) << asked;
    P3GPP_CloseTrack(track);
    movie.source.log = nullptr;
  }
}

TEST(TrackAccess, ReadingInOrderRefillsWholeBlocksAndGoingBackHalfOnes) {
  TrackTables tables = plain_tables(6000, 8);
  tables.stsc = {{1, 1}};
  tables.chunk_offsets.clear();
  for (uint32_t n = 0; n < 6000; ++n) tables.chunk_offsets.push_back(n * 100);
  OpenTrack track(tables);  // of 1024 bytes, 84 sizes and 166 chunk offsets
  const auto refills = [&](bool forward) {
    const uint64_t before = track.source().read_count;
    for (uint32_t i = 1; i <= 6000; ++i) {
      const uint32_t number = forward ? i : 6001 - i;
      EXPECT_EQ(track.offset_of(number), (number - 1) * 100);
    }
    return static_cast<double>(track.source().read_count - before);
  };
  EXPECT_NEAR(refills(true), 6000.0 / 84 + 6000.0 / 166, 3);
  EXPECT_NEAR(refills(false), 6000.0 / 42 + 6000.0 / 83, 6);
}

// The sizes before a sample in its chunk are not summed again for each sample.
TEST(TrackAccess, ReadingAChunkInOrderReadsEverySizeOnce) {
  constexpr uint32_t kSamples = 6000;
  OpenTrack track(plain_tables(kSamples, 8));
  std::vector<MemorySource::Read> reads;
  track.source().log = &reads;
  for (uint32_t number = 1; number <= kSamples; ++number)
    ASSERT_EQ(track.offset_of(number), (number - 1) * 8);
  uint64_t bytes = 0;
  for (const MemorySource::Read& read : reads) bytes += read.count;
  EXPECT_LE(bytes, kSamples * 4) << "but for those that the cache was filled with";
}

// ---- Counts and records -----------------------------------------------------------------------------------

TEST(TrackAccess, CountsLeaveTextTracksOutButTheirIdsAreToldByRequirement) {
  std::vector<TrackTables> tracks;
  for (const char* handler :
       {"vide", "soun", "hint", "sdsm", "odsm", "text", "meta", "subt", "soun", "soun", "soun"}) {
    tracks.emplace_back();
    tracks.back().id = static_cast<uint32_t>(tracks.size() * 10);
    tracks.back().handler = handler;
  }
  tracks[9].omit = {"hdlr"};
  tracks[10].omit = {"tkhd"};  // counted, but without an ID to tell
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
  EXPECT_EQ(ids(P3GPP_TRACK_AUDIO), (Numbers{20, 90}));
  EXPECT_EQ(ids(P3GPP_TRACK_TEXT), (Numbers{60}));
  EXPECT_EQ(ids(P3GPP_TRACK_METADATA), (Numbers{70}));
  EXPECT_EQ(ids(6), Numbers{});
}

TEST(TrackAccess, TrackInfoNeedsAHandlerWithACode) {
  TrackTables tables;
  tables.handler = "subt";
  auto* info = reinterpret_cast<P3gppTrackInfo*>(&tables);
  EXPECT_EQ(P3GPP_GetTrackInfo(OpenedMovie(make_file({tables})).file, 1, &info), P3GPP_ERR_UNKNOWN_HANDLER);
  EXPECT_EQ(info, nullptr);
  tables.handler = "meta";
  ASSERT_EQ(P3GPP_GetTrackInfo(OpenedMovie(make_file({tables})).file, 1, &info), P3GPP_OK);
  EXPECT_EQ((Numbers{info->creation_time, info->modification_time, info->track_duration, info->media_duration,
                     info->time_scale, info->sample_count, info->track_type}),
            (Numbers{11, 12, 5000, 10000, 1000, 10, P3GPP_TRACK_METADATA}));
  info->release(info);
}

TEST(TrackAccess, BitrateLeavesOutTheLastSampleAndFailsBelowASecondByRequirement) {
  for (const auto& [duration, time_scale, status, expected] :
       std::vector<std::tuple<uint32_t, uint32_t, int32_t, float>>{{2500, 1000, P3GPP_OK, 9 * 16 * 8 / 2.5F},
                                                                   {1000, 1000, P3GPP_OK, 9 * 16 * 8},
                                                                   {900, 1000, P3GPP_ERR_GENERIC, 0},
                                                                   {0, 1000, P3GPP_ERR_GENERIC, 0},
                                                                   {1000, 0, P3GPP_ERR_GENERIC, 0}}) {
    TrackTables tables;
    tables.media_duration = duration;
    tables.time_scale = time_scale;
    tables.sizes.back() = 1000000;
    float bits_per_second = 99;
    EXPECT_EQ(P3GPP_GetBitrate(OpenTrack(tables).get(), &bits_per_second), status);
    EXPECT_FLOAT_EQ(bits_per_second, expected);
  }
  EXPECT_EQ(P3GPP_GetBitrate(nullptr, nullptr), P3GPP_ERR_GENERIC);
}

TEST(TrackAccess, LargestSizeIsFoundAnywhereInALargeTable) {
  for (const uint32_t place : {0u, 70000u, 149999u}) {
    TrackTables tables = plain_tables(150000, 3);
    tables.sizes[place] = 0xFFFFFFFF;
    uint32_t size = 0;
    EXPECT_EQ(P3GPP_GetMaxSampleSize(OpenTrack(tables).get(), &size), P3GPP_OK);
    EXPECT_EQ(size, 0xFFFFFFFF) << place;
  }
}

TEST(TrackAccess, TablesThatClaimMoreEntriesThanTheirBoxHoldsFailBehindIt) {
  TrackTables tables;
  tables.stts = {{4, 100}};
  tables.claimed_stts_count = 3;
  const std::string calls = "d4=300:300 d5=-7012 d4=300:300";
  EXPECT_EQ(replayed(tables, calls), calls);
  tables.stts.clear();
  EXPECT_EQ(OpenTrack(tables).status(), P3GPP_ERR_READ) << "not even the first entry is there";
}

}  // namespace
}  // namespace zdr::test
