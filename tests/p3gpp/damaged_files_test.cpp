// Faults in every read and allocation, and sizes beyond the file: each yields a documented status, no leak
// and no large allocation.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "mediakit/boxes/metadata_builder.h"
#include "mediakit/boxes/movie_builder.h"
#include "mediakit/drivers/exercise.h"
#include "tests/p3gpp/opened_movie.h"
#include "tests/platform/fault_at.h"
#include "tests/support/failing_allocator.h"

namespace zdr::test {
namespace {

// Builds a small file that contains every kind of box.
Bytes everything() {
  TrackDescription video = avc_track(6);
  video.sync_samples = {1, 4};
  video.edits = {{.segment_duration = 500, .media_time = -1}, {.segment_duration = 600, .media_time = 0}};
  video.samples_per_chunk = {2, 1};
  video.sample_entries.push_back(
      video_entry("mp4v", 16, 16, esds({.object_type = 0x20, .decoder_specific_info = {1}})));
  video.sample_entries.push_back(video_entry("s263", 16, 16, d263(1, 2, 3, 4, bitr(5, 6))));
  video.replaced["ctts"] = ctts({{3, 0}, {3, 100}});
  video.appended["trak"] = box("tref", Bytes(12));
  TrackDescription audio = amr_track(20);
  audio.samples_per_chunk = {5};
  audio.sample_entries.push_back(audio_entry("ac-3", 2, 48000, dac3()));
  audio.sample_entries.push_back(audio_entry("ec-3", 2, 48000, dec3(1, {{.num_dep_sub = 1}, {}})));
  audio.sample_entries.push_back(audio_entry("mp4a", 2, 48000, esds({})));
  audio.replaced["stsz"] = constant_stsz(32, 20);
  audio.replaced["stco"] = co64({100, 300, 500, 700});
  TrackDescription hint = amr_track(3);
  hint.handler = "hint";
  hint.sample_entries = {plain_entry("rtp "),
                         audio_entry("sqcp", 1, 8000, speech_configuration("dqcp", 1, 2, 3))};
  hint.appended["minf"] = hmhd(1, 2, 3, 4);
  hint.replaced["dinf"] = box("dinf", dref({url(false, {'a'}), urn(true, {'b', 0, 'c'})}));
  hint.appended["trak"] = box("udta", concat({full_hinf(), hnti("v=0"), Bytes(4)}));
  const Bytes meta = full_box("meta", 0, 0, concat({hdlr("ID32"), id32(0x55C4, {'I', 'D', '3'})}));
  const Bytes iods = full_box("iods", 0, 0, Bytes(7));
  return build_movie({.tracks = {video, audio, hint},
                      .before_moov = box("moof"),
                      .moov_children = concat({iods, box("udta", full_user_data()), meta})})
      .bytes;
}

// Opens and exercises a file with its own file manager.
ExerciseResult use(const FMGR_Descriptor& descriptor) {
  const Context context = make_context(0, 0);
  if (context == nullptr) return {.statuses = {P3GPP_ERR_NO_MEMORY}};
  return exercise(descriptor, context.get(), 3);
}

// Boxes larger than the file, than one read can return, and than all bodies that the parser stores.
TEST(DamagedFiles, BoxesThatCannotBeReadTakeNoMemory) {
  for (const auto& [box_size, file_size] :
       {std::pair{0x40000000u, uint64_t{200}}, std::pair{0xC0000000u, uint64_t{1} << 33},
        std::pair{0x7F000000u, uint64_t{1} << 33}}) {
    for (const std::string path :
         {"moovmvhd", "moovudtatitl", "moovtraktkhd", "moovtrakmdiamdhd", "moovtrakudtahntisdp ",
          "moovtrakudtahinfpayt", "moovudtaloci", "moovtraktref", "mooviods"}) {
      Fields nested;
      for (size_t at = 0; at < path.size(); at += 4) {
        nested.append(header(box_size - static_cast<uint32_t>(2 * at), path.substr(at, 4)));
      }
      Source source(FMGR_DEV_CALLBACK, as_text(nested.zeros(64).bytes));
      source.claimed_size = file_size;
      const FailingAllocator watch(0);
      EXPECT_EQ(use(source.descriptor()).open_status, P3GPP_ERR_READ) << path;
      EXPECT_LE(watch.largest(), 1u << 16) << path << ' ' << box_size;
    }
  }
}

TEST(DamagedFiles, BodiesInMemoryAreBoundedTogether) {
  const Bytes text = item("desc", std::string(12 << 20, 'x'));
  for (const auto& [items, status] :
       {std::pair{std::vector{text, text}, P3GPP_OK}, {{text, text, text}, P3GPP_ERR_READ}}) {
    EXPECT_EQ(OpenedMovie(box("moov", box("udta", item_list_meta(items)))).error.status, status);
  }
}

// Too many tracks cost the file only those above the limit.
TEST(DamagedFiles, ListsHaveAtMost1024Members) {
  const Bytes tracks = concat(std::vector<Bytes>(5000, box("trak")));
  const Bytes references = box("dinf", dref(std::vector<Bytes>(5000, url(false, {}))));
  const Bytes entries = box("stbl", stsd(std::vector<Bytes>(5000, plain_entry("text"))));
  const auto in_track = [](const Bytes& child) { return box("trak", box("mdia", box("minf", child))); };
  for (const auto& [children, status, path] : std::vector<std::tuple<Bytes, int32_t, std::string>>{
           {tracks, P3GPP_OK, "moov/trak[1025]"},
           {in_track(references), P3GPP_ERR_OUT_OF_RANGE, "moov/trak[1]/mdia/minf/dinf/dref/url [1025]"},
           {in_track(entries), P3GPP_ERR_OUT_OF_RANGE, "moov/trak[1]/mdia/minf/stbl/stsd/text[1025]"}}) {
    const OpenedMovie movie(box("moov", children));
    EXPECT_EQ(movie.status, status) << path;
    EXPECT_EQ(movie.error.status, P3GPP_ERR_OUT_OF_RANGE) << path;
    EXPECT_EQ(movie.error.path, path);
  }
}

// Truncates the file at every byte of the movie box, except in the ID3v2 tag of 3 bytes at its end, which is
// not read.
TEST(DamagedFiles, TruncationIsReportedForATruncatedBox) {
  const Bytes whole = everything();
  const size_t moov = ftyp().size() + box("moof").size();
  for (size_t size = moov + 8; size < moov + load_be32(whole, moov) - 3; ++size) {
    const OpenedMovie movie(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)));
    ASSERT_EQ(movie.error.status, P3GPP_ERR_READ) << size;
    ASSERT_LT(movie.error.offset, size) << movie.error.path;
    ASSERT_GT(movie.error.offset + movie.error.size, size) << movie.error.path;
  }
}

// The first status that a single fault changes must report it; a fault that changes no status must change no
// result either.
void expect_reported(const ExerciseResult& faulty, const ExerciseResult& sound, const std::string& fault) {
  constexpr int32_t kFaultStatuses[] = {P3GPP_ERR_GENERIC, P3GPP_ERR_NO_MEMORY, P3GPP_ERR_OPEN,
                                        P3GPP_ERR_READ, P3GPP_ERR_NO_MOOV};
  ASSERT_EQ(faulty.undocumented_status, 0) << fault;
  const auto [changed, expected] = std::ranges::mismatch(faulty.statuses, sound.statuses);
  if (changed == faulty.statuses.end()) {
    ASSERT_EQ(expected, sound.statuses.end()) << fault;
    ASSERT_EQ(faulty.checksum, sound.checksum) << fault;
  } else {
    ASSERT_EQ(std::ranges::count(kFaultStatuses, *changed), 1) << fault << ' ' << *changed;
  }
}

TEST(DamagedFiles, EveryFailingAllocationIsReported) {
  const Source source(FMGR_DEV_MEMORY, as_text(everything()));
  const ExerciseResult sound = use(source.descriptor());
  EXPECT_EQ(sound.tracks, 3u);
  EXPECT_EQ(sound.tags, uint32_t{P3GPP_TAG_COUNT});
  EXPECT_EQ(sound.checksum, 0x4F29D3D105BEA104u) << "of every box, tag, record and sample";
  bool triggered = true;
  std::set<uint32_t> tracks;  // of files that open
  for (uint64_t n = 1; triggered; ++n) {
    const FailingAllocator failing(n);
    try {
      const ExerciseResult faulty = use(source.descriptor());
      expect_reported(faulty, sound, "allocation " + std::to_string(n));
      if (faulty.tracks != 0) tracks.insert(faulty.tracks);
    } catch (const std::bad_alloc&) {  // an allocation of the test itself
    }
    triggered = failing.triggered();
  }
  EXPECT_EQ(tracks, (std::set<uint32_t>{1, 2, 3})) << "a later track that fails is left out";
}

// Uses the filter's device type, a file with a wide path, and fails each of its layers at every call.
TEST(DamagedFiles, EveryFaultOfTheFileLayerIsReported) {
  using platform::FaultPoint;
  const Source source(FMGR_DEV_FILE_W, as_text(everything()));
  const ExerciseResult sound = use(source.descriptor());
  EXPECT_EQ(sound.tracks, 3u);
  for (const FaultPoint point :
       {FaultPoint::kFileOpen, FaultPoint::kFileRead, FaultPoint::kFileSeek, FaultPoint::kMutexCreate}) {
    int faults = 0;
    for (bool triggered = true; triggered; ++faults) {
      const FaultAt fault(point, faults + 1);
      expect_reported(use(source.descriptor()), sound,
                      std::to_string(static_cast<int>(point)) + ' ' + std::to_string(faults));
      triggered = fault.triggered();
    }
    EXPECT_GT(faults, 3) << static_cast<int>(point);
  }
}

// The entries of the tables are skipped, so opening reads the same for any number of samples.
TEST(HugeTables, AreNotReadAtOpen) {
  const auto reads = [](uint32_t sample_count) {
    TrackDescription track = amr_track(1);
    track.replaced["stsz"] = stsz(std::vector<uint32_t>(sample_count, 1));
    track.replaced["stts"] = stts(Runs(sample_count, {1, 1}));
    const OpenedMovie movie(build_movie(track).bytes);
    EXPECT_EQ(movie.status, P3GPP_OK);
    uint64_t bytes = 0;
    for (const Source::Read& read : movie.source.reads) bytes += read.count;
    return std::make_pair(movie.source.reads.size(), bytes);
  };
  EXPECT_EQ(reads(10), reads(60000));
}

}  // namespace
}  // namespace zdr::test
