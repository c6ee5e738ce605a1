// Finding and opening tracks: what is missing, the cache budget, counts and records.
#include "gtest/gtest.h"
#include "track_file.h"

namespace zdr::test {
namespace {

constexpr std::initializer_list<const char*> kHandlers = {"vide", "soun", "hint", "sdsm",
                                                          "odsm", "text", "meta", "subt"};

TEST(TrackAccess, EachMissingBoxHasItsStatus) {
  struct Case {
    const char* omitted;
    int32_t open_track;
    int32_t track_info;
  };
  for (const Case& each : std::initializer_list<Case>{
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
    SCOPED_TRACE(each.omitted);
    TrackTables tables;
    tables.omit = {each.omitted};
    const OpenTrack track(tables);
    EXPECT_EQ(track.status(), each.open_track);
    P3gppTrackInfo* info = nullptr;
    EXPECT_EQ(P3GPP_GetTrackInfo(track.file(), 1, &info), each.track_info);
    EXPECT_EQ(info != nullptr, each.track_info == P3GPP_OK);
    // The tracks of this file have no entry in their sample description.
    const int32_t decoder_info = each.track_info == P3GPP_OK ? P3GPP_ERR_NO_TABLE : each.track_info;
    EXPECT_EQ(DecoderInfo(track.file(), 1).status, decoder_info);
    if (info != nullptr) info->release(info);
  }
}

TEST(TrackAccess, AMissingTableFailsTheOperationsThatNeedIt) {
  const auto statuses = [](const char* omitted) {
    TrackTables tables;
    tables.omit = {omitted};
    const OpenTrack track(tables);
    uint32_t a = 1;
    uint32_t b = 0;
    int32_t flag = 0;
    float bitrate = 0;
    P3gppSample sample{};
    sample.number = 1;
    return std::vector<int32_t>{
        P3GPP_ReadSample(track.get(), &sample),         P3GPP_GetSampleTime(track.get(), 1, &a, &b),
        P3GPP_TimeToSample(track.get(), &a, &b),        P3GPP_IsSyncSample(track.get(), 1, &flag),
        P3GPP_FindSyncSample(track.get(), &(a = 1), 1), P3GPP_GetMaxSampleSize(track.get(), &a),
        P3GPP_GetBitrate(track.get(), &bitrate)};
  };
  constexpr int32_t kNone = P3GPP_ERR_NO_TABLE;
  EXPECT_EQ(statuses("stsz"),
            (std::vector<int32_t>{kNone, kNone, kNone, kNone, kNone, kNone, P3GPP_ERR_GENERIC}));
  EXPECT_EQ(statuses("stsd"), (std::vector<int32_t>{0, 0, kNone, kNone, kNone, kNone, P3GPP_ERR_GENERIC}));
  EXPECT_EQ(statuses("stts"), (std::vector<int32_t>{kNone, kNone, kNone, 0, 0, 0, 0}));
  EXPECT_EQ(statuses("stco"), (std::vector<int32_t>{kNone, 0, 0, 0, 0, 0, 0}));
}

TEST(TrackAccess, MissingArgumentsAreRefused) {
  const OpenTrack opened((TrackTables()));
  P3gppTrack* const track = opened.get();
  P3gppFile* const file = opened.file();
  uint32_t a = 1;
  uint32_t b = 1;
  int32_t flag = 0;
  P3gppSample sample{};
  P3gppMovieInfo movie{};
  P3gppTrackCounts counts{};
  P3gppTrackInfo* info = nullptr;
  P3gppDecoderInfo* decoder = nullptr;
  const std::vector<int32_t> statuses = {
      P3GPP_GetMovieInfo(nullptr, &movie),        P3GPP_GetMovieInfo(file, nullptr),
      P3GPP_GetTrackCounts(nullptr, &counts),     P3GPP_GetTrackCounts(file, nullptr),
      P3GPP_GetTrackIds(nullptr, 0, &a, &b),      P3GPP_GetTrackIds(file, 0, nullptr, &b),
      P3GPP_GetTrackIds(file, 0, &a, nullptr),    P3GPP_GetTrackInfo(nullptr, 1, &info),
      P3GPP_GetTrackInfo(file, 1, nullptr),       P3GPP_GetDecoderInfo(nullptr, 1, &decoder, 1),
      P3GPP_GetDecoderInfo(file, 1, nullptr, 1),  P3GPP_CloseTrack(nullptr),
      P3GPP_GetMaxSampleSize(nullptr, &a),        P3GPP_GetMaxSampleSize(track, nullptr),
      P3GPP_ReadSample(nullptr, &sample),         P3GPP_ReadSample(track, nullptr),
      P3GPP_GetSampleTime(nullptr, 1, &a, &b),    P3GPP_GetSampleTime(track, 1, nullptr, &b),
      P3GPP_GetSampleTime(track, 1, &a, nullptr), P3GPP_TimeToSample(nullptr, &a, &b),
      P3GPP_TimeToSample(track, nullptr, &b),     P3GPP_TimeToSample(track, &a, nullptr),
      P3GPP_FindSyncSample(nullptr, &a, 1),       P3GPP_FindSyncSample(track, nullptr, 1),
      P3GPP_IsSyncSample(nullptr, 1, &flag),      P3GPP_IsSyncSample(track, 1, nullptr)};
  EXPECT_EQ(statuses, std::vector<int32_t>(statuses.size(), P3GPP_ERR_BAD_ARGUMENT));
}

TEST(TrackAccess, MovieInfoComesFromTheMovieHeaderWithACopyOfTheObjectDescriptor) {
  const MovieHeader header{.creation_time = 21, .modification_time = 22, .time_scale = 600, .duration = 6000};
  const OpenedMovie movie(box("moov", {mvhd(header), full_box("iods", 0, 0, {7, 8, 9})}));
  P3gppMovieInfo info{};
  ASSERT_EQ(P3GPP_GetMovieInfo(movie.file, &info), P3GPP_OK);
  EXPECT_EQ(
      (std::vector<uint32_t>{info.creation_time, info.modification_time, info.time_scale, info.duration}),
      (std::vector<uint32_t>{21, 22, 600, 6000}));
  EXPECT_EQ(Bytes(info.iods, info.iods + info.iods_length), (Bytes{7, 8, 9}));
  info.release(&info);
  EXPECT_EQ(info.iods, nullptr);
  EXPECT_EQ(info.iods_length + info.time_scale, 0U);

  // An object descriptor without bytes does not replace the one before it.
  const OpenedMovie twice(box("moov", {mvhd(), full_box("iods", 0, 0, {7}), full_box("iods", 0, 0)}));
  ASSERT_EQ(P3GPP_GetMovieInfo(twice.file, &info), P3GPP_OK);
  EXPECT_EQ(info.iods_length, 1U);
  info.release(&info);

  const OpenedMovie bare(box("moov"));
  EXPECT_EQ(P3GPP_GetMovieInfo(bare.file, &info), P3GPP_ERR_NO_MOOV_PAYLOAD);
  EXPECT_EQ(info.iods, nullptr);
}

TEST(TrackAccess, BudgetAndArguments) {
  OpenedMovie movie(make_file({TrackTables{}}));
  P3gppTrack* track = nullptr;
  EXPECT_EQ(P3GPP_OpenTrack(movie.file, &track, 99, 0),
            P3GPP_ERR_BAD_ARGUMENT);  // before the ID is looked at
  EXPECT_EQ(P3GPP_OpenTrack(movie.file, &track, 99, 100), P3GPP_ERR_NO_TRACK);
  EXPECT_EQ(P3GPP_OpenTrack(nullptr, &track, 1, 100), P3GPP_ERR_BAD_ARGUMENT);
  EXPECT_EQ(P3GPP_OpenTrack(movie.file, nullptr, 1, 100), P3GPP_ERR_BAD_ARGUMENT);
  ASSERT_EQ(P3GPP_OpenTrack(movie.file, &track, 1, 100), P3GPP_OK);
  P3gppTrack* again = nullptr;
  ASSERT_EQ(P3GPP_OpenTrack(movie.file, &again, 1, 100), P3GPP_OK);  // closes the earlier one
  EXPECT_EQ(P3GPP_CloseTrack(again), P3GPP_OK);
  uint32_t size = 0;
  EXPECT_EQ(P3GPP_GetMaxSampleSize(again, &size), P3GPP_ERR_GENERIC);  // closed
  EXPECT_EQ(P3GPP_CloseTrack(again), P3GPP_ERR_GENERIC);
}

// The first reads of an opened track are the cache fills, in the order in which the budget is handed out.
TEST(TrackAccess, TheBudgetIsSharedOutTableByTableByRequirement) {
  TrackTables tables;
  tables.sizes.assign(5000, 8);
  tables.stts.assign(5000, {1u, 10u});
  tables.has_ctts = true;
  tables.ctts = {{5000, 1}};  // smaller than its share: what it leaves goes on
  tables.has_stss = true;
  for (uint32_t n = 1; n <= 5000; ++n) tables.stss.push_back(n);
  tables.stsc.clear();
  for (uint32_t n = 1; n <= 5000; ++n) tables.stsc.push_back({n, 1});
  tables.chunk_offsets.assign(5000, 100);
  OpenedMovie movie(make_file({tables}));
  for (const auto& [asked, budget] : std::initializer_list<std::pair<uint32_t, uint32_t>>{
           {100, 1024}, {1024, 1024}, {8192, 8192}, {24576, 24576}}) {
    SCOPED_TRACE(asked);
    std::vector<MemorySource::Read> reads;
    movie.source.log = &reads;
    P3gppTrack* track = nullptr;
    ASSERT_EQ(P3GPP_OpenTrack(movie.file, &track, 1, asked), P3GPP_OK);
    uint32_t left = budget;
    const auto share = [&](uint32_t divisor, uint32_t table_bytes, uint32_t entry_size) {
      const uint32_t granted = std::min(left / divisor, table_bytes);
      left -= granted;
      return granted / entry_size * entry_size;
    };
    const std::vector<uint32_t> expected = {share(6, 40000, 8), share(5, 8, 8),      share(4, 20000, 4),
                                            share(3, 20000, 4), share(2, 60000, 12), share(1, 20000, 4)};
    std::vector<uint32_t> actual;
    for (const auto& read : reads) actual.push_back(read.count);
    EXPECT_EQ(actual, expected);
    P3GPP_CloseTrack(track);
    movie.source.log = nullptr;
  }
}

TEST(TrackAccess, ReadingInOrderRefillsWholeBlocksAndGoingBackHalfOnes) {
  TrackTables tables;
  tables.sizes.assign(6000, 8);
  tables.stts = {{6000, 10}};
  tables.stsc = {{1, 1}};
  tables.chunk_offsets.clear();
  for (uint32_t n = 0; n < 6000; ++n) tables.chunk_offsets.push_back(n * 100);
  OpenTrack track(tables);  // of 1024 bytes, 84 sizes and 166 chunk offsets
  const auto refills = [&](bool forward) {
    const uint64_t before = track.source().read_count;
    P3gppSample sample{};
    for (uint32_t i = 1; i <= 6000; ++i) {
      sample.number = forward ? i : 6001 - i;
      EXPECT_EQ(P3GPP_ReadSample(track.get(), &sample), P3GPP_OK);
      EXPECT_EQ(sample.file_offset, (sample.number - 1) * 100);
    }
    return track.source().read_count - before;
  };
  EXPECT_NEAR(static_cast<double>(refills(true)), 6000.0 / 84 + 6000.0 / 166, 3);
  EXPECT_NEAR(static_cast<double>(refills(false)), 6000.0 / 42 + 6000.0 / 83, 6);
}

// The sizes before a sample in its chunk are not summed again for each sample.
TEST(TrackAccess, ReadingAChunkInOrderReadsEverySizeOnce) {
  constexpr uint32_t kSamples = 6000;
  TrackTables tables;
  tables.sizes.assign(kSamples, 8);
  tables.stts = {{kSamples, 10}};
  tables.stsc = {{1, kSamples}};
  OpenedMovie movie(make_file({tables}));
  std::vector<MemorySource::Read> reads;
  movie.source.log = &reads;
  P3gppTrack* track = nullptr;
  ASSERT_EQ(P3GPP_OpenTrack(movie.file, &track, 1, 1024), P3GPP_OK);
  P3gppSample sample{};
  for (sample.number = 1; sample.number <= kSamples; ++sample.number) {
    ASSERT_EQ(P3GPP_ReadSample(track, &sample), P3GPP_OK);
    ASSERT_EQ(sample.file_offset, uint64_t{sample.number - 1} * 8);
  }
  const uint64_t first_size = movie.stbl(0)->stsz->offset + 20;
  std::vector<int> times_read(kSamples);
  for (const MemorySource::Read& read : reads) {
    if (read.position < first_size || read.position >= first_size + kSamples * 4) continue;
    for (uint32_t i = 0; i < read.count; i += 4) ++times_read[(read.position - first_size + i) / 4];
  }
  EXPECT_EQ(times_read, std::vector<int>(kSamples, 1));
  P3GPP_CloseTrack(track);
}

TEST(TrackAccess, CountsLeaveTextTracksOutButTheirIdsAreToldByRequirement) {
  std::vector<TrackTables> tracks;
  for (const char* handler : kHandlers) {
    tracks.emplace_back();
    tracks.back().id = static_cast<uint32_t>(tracks.size() * 10);
    tracks.back().handler = handler;
  }
  tracks.push_back(tracks[1]);
  tracks.back().id = 95;
  tracks.push_back(tracks[1]);
  tracks.back().omit = {"hdlr"};
  tracks.push_back(tracks[1]);
  tracks.back().omit = {"tkhd"};  // counted, but without an ID to tell
  const OpenedMovie movie(make_file(tracks));
  P3gppTrackCounts counts{};
  ASSERT_EQ(P3GPP_GetTrackCounts(movie.file, &counts), P3GPP_OK);
  EXPECT_EQ(counts.total, 8U);
  EXPECT_EQ(counts.audio, 3U);
  for (const uint32_t one :
       {counts.video, counts.metadata, counts.hint, counts.object_descriptor, counts.scene_description}) {
    EXPECT_EQ(one, 1U);
  }
  const auto ids = [&](uint32_t type) {
    std::vector<uint32_t> found(16);
    uint32_t count = 0;
    EXPECT_EQ(P3GPP_GetTrackIds(movie.file, type, found.data(), &count), P3GPP_OK);
    found.resize(count);
    return found;
  };
  EXPECT_EQ(ids(P3GPP_TRACK_AUDIO), (std::vector<uint32_t>{20, 95}));
  EXPECT_EQ(ids(P3GPP_TRACK_TEXT), (std::vector<uint32_t>{60}));
  EXPECT_EQ(ids(P3GPP_TRACK_METADATA), (std::vector<uint32_t>{70}));
  EXPECT_EQ(ids(6), (std::vector<uint32_t>{}));
}

TEST(TrackAccess, TrackInfoNeedsAHandlerWithACode) {
  TrackTables tables;
  tables.handler = "subt";
  const OpenedMovie subtitles(make_file({tables}));
  auto* info = reinterpret_cast<P3gppTrackInfo*>(&tables);
  EXPECT_EQ(P3GPP_GetTrackInfo(subtitles.file, 1, &info), P3GPP_ERR_UNKNOWN_HANDLER);
  EXPECT_EQ(info, nullptr);

  tables.handler = "meta";
  const OpenedMovie metadata(make_file({tables}));
  ASSERT_EQ(P3GPP_GetTrackInfo(metadata.file, 1, &info), P3GPP_OK);
  EXPECT_EQ(
      (std::vector<uint32_t>{info->creation_time, info->modification_time, info->track_duration,
                             info->media_duration, info->time_scale, info->sample_count, info->track_type}),
      (std::vector<uint32_t>{11, 12, 5000, 10000, 1000, 10, P3GPP_TRACK_METADATA}));
  info->release(info);
}

TEST(TrackAccess, BitrateLeavesOutTheLastSampleAndFailsBelowASecondByRequirement) {
  struct Case {
    uint32_t duration;
    uint32_t time_scale;
    int32_t status;
    float bits_per_second;
  };
  for (const Case& each : std::initializer_list<Case>{{2500, 1000, P3GPP_OK, 9 * 16 * 8 / 2.5F},
                                                      {1000, 1000, P3GPP_OK, 9 * 16 * 8},
                                                      {900, 1000, P3GPP_ERR_GENERIC, 0},
                                                      {0, 1000, P3GPP_ERR_GENERIC, 0},
                                                      {1000, 0, P3GPP_ERR_GENERIC, 0}}) {
    TrackTables tables;
    tables.media_duration = each.duration;
    tables.time_scale = each.time_scale;
    tables.sizes.back() = 1000000;
    const OpenTrack track(tables);
    float bits_per_second = 99;
    EXPECT_EQ(P3GPP_GetBitrate(track.get(), &bits_per_second), each.status);
    EXPECT_FLOAT_EQ(bits_per_second, each.bits_per_second);
  }
  EXPECT_EQ(P3GPP_GetBitrate(nullptr, nullptr), P3GPP_ERR_GENERIC);
}

TEST(TrackAccess, LargestSizeIsFoundAnywhereInALargeTable) {
  TrackTables tables;
  for (const uint32_t place : {0U, 70000U, 149999U}) {
    tables.sizes.assign(150000, 3);
    tables.sizes[place] = 0xFFFFFFFF;
    const OpenTrack track(tables);
    uint32_t size = 0;
    EXPECT_EQ(P3GPP_GetMaxSampleSize(track.get(), &size), P3GPP_OK);
    EXPECT_EQ(size, 0xFFFFFFFF) << place;
  }
}

TEST(TrackAccess, TablesThatClaimMoreEntriesThanTheirBoxHoldsFailBehindIt) {
  TrackTables tables;
  tables.stts = {{4, 100}};
  tables.claimed_stts_count = 3;
  const OpenTrack track(tables);
  ASSERT_EQ(track.status(), P3GPP_OK);
  uint32_t decoding = 0;
  uint32_t composition = 0;
  EXPECT_EQ(P3GPP_GetSampleTime(track.get(), 4, &decoding, &composition), P3GPP_OK);
  EXPECT_EQ(P3GPP_GetSampleTime(track.get(), 5, &decoding, &composition), P3GPP_ERR_READ);
  EXPECT_EQ(P3GPP_GetSampleTime(track.get(), 4, &decoding, &composition), P3GPP_OK);
  EXPECT_EQ(decoding, 300U);

  tables.stts.clear();
  EXPECT_EQ(OpenTrack(tables).status(), P3GPP_ERR_READ);  // not even the first entry is there
}

}  // namespace
}  // namespace zdr::test
