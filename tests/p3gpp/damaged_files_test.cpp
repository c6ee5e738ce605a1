// Damaged files, and files whose reading fails half-way: a documented status, no leak, no outsized memory.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "mediakit/boxes/metadata_builder.h"
#include "mediakit/boxes/movie_builder.h"
#include "mediakit/drivers/exercise.h"
#include "mediakit/files/mutator.h"
#include "mediakit/files/temp_folder.h"
#include "opened_movie.h"
#include "tests/platform/fault_at.h"
#include "tests/support/failing_allocator.h"

namespace zdr::test {
namespace {

// A small file in which every kind of box occurs.
Bytes everything() {
  TrackDescription video = avc_track(6);
  video.sync_samples = {1, 4};
  video.composition_offsets = {0, 100, 0, 100, 0, 100};
  video.edits = {{.segment_duration = 500, .media_time = -1}, {.segment_duration = 600, .media_time = 0}};
  video.samples_per_chunk = {2, 1};
  video.sample_entries.push_back(
      video_entry("mp4v", 16, 16, esds({.object_type = 0x20, .decoder_specific_info = {1}})));
  video.sample_entries.push_back(video_entry("s263", 16, 16, d263(1, 2, 3, 4, bitr(5, 6))));
  video.appended["trak"] = box("tref", Bytes(12));
  TrackDescription audio = amr_track(20);
  audio.constant_size = true;
  audio.samples_per_chunk = {5};
  audio.use_co64 = true;
  audio.sample_entries.push_back(audio_entry("ac-3", 2, 48000, dac3()));
  audio.sample_entries.push_back(audio_entry("ec-3", 2, 48000, dec3(1, {{.num_dep_sub = 1}, {}})));
  audio.sample_entries.push_back(audio_entry("mp4a", 2, 48000, esds({})));
  TrackDescription hint = amr_track(3);
  hint.handler = "hint";
  hint.sample_entries = {plain_entry("rtp "),
                         audio_entry("sqcp", 1, 8000, speech_configuration("dqcp", 1, 2, 3))};
  hint.appended["minf"] = hmhd(1, 2, 3, 4);
  hint.replaced["dinf"] = box("dinf", dref({url(false, {'a'}), urn(true, {'b', 0, 'c'})}));
  hint.appended["trak"] = box("udta", concat({full_hinf(), hnti("v=0"), Bytes(4)}));
  const Bytes meta = full_box("meta", 0, 0, concat({hdlr("ID32"), id32(0x55C4, {'I', 'D', '3'})}));
  return build_movie({.tracks = {video, audio, hint},
                      .before_moov = box("moof"),
                      .moov_children = concat({box("udta", full_user_data()), meta}),
                      .moov_start = full_box("iods", 0, 0, Bytes(7))})
      .bytes;
}

std::vector<Bytes> seeds() {
  std::vector<Bytes> files = {everything()};
  files.push_back(build_movie({.tracks = {aac_track(10), avc_track(5)}, .moov_first = false}).bytes);
  for (const auto& entry : std::filesystem::directory_iterator(ZDR_SAMPLES_DIR)) {
    const std::string extension = entry.path().extension();
    if (extension != ".mp4" && extension != ".3gp") continue;
    std::ifstream stream(entry.path(), std::ios::binary);
    files.emplace_back(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
  }
  return files;
}

// The whole use of a file, with a manager of its own.
ExerciseResult use(const FMGR_Descriptor& descriptor, uint32_t sample_limit = 40) {
  FMGR_Context* context = nullptr;
  const FMGR_Config config{0, 0};
  if (FMGR_Init(&context, &config) != FMGR_OK) return {.statuses = {P3GPP_ERR_NO_MEMORY}};
  // An allocation of the exercise itself may be the one that fails.
  const std::unique_ptr<FMGR_Context, int32_t (*)(FMGR_Context*)> released(context, FMGR_Deinit);
  return exercise(descriptor, context, sample_limit);
}
ExerciseResult use(MemorySource& source, uint32_t sample_limit = 40) {
  return use(source.descriptor, sample_limit);
}

TEST(DamagedFiles, EndWithADocumentedStatusAndTakeNoOutsizedMemory) {
  const char* rounds_text = std::getenv("ZDR_MUTATIONS");
  const uint32_t rounds = rounds_text == nullptr ? 3000 : static_cast<uint32_t>(std::atoi(rounds_text));
  const std::vector<Bytes> originals = seeds();
  Mutator mutator(20240611);
  uint32_t opened = 0;
  for (uint32_t round = 0; round < rounds; ++round) {
    const Bytes file = mutator.damaged(originals[round % originals.size()]);
    const size_t file_size = file.size();
    MemorySource source(file);
    const FailingAllocator watch(0);
    const ExerciseResult result = use(source);
    ASSERT_EQ(result.undocumented_status, 0) << "round " << round;
    // Blocks of table entries and the test's own buffers are of fixed size.
    ASSERT_LE(watch.largest(), std::max<size_t>(file_size + 64, 256 * 1024)) << "round " << round;
    opened += result.open_status == P3GPP_OK;
  }
  EXPECT_GT(opened, rounds / 10) << "most files fail at once: the damage is too coarse to test much";
  EXPECT_LT(opened, rounds - rounds / 10) << "hardly any file fails: the damage is too fine to test much";
}

// Boxes of a gigabyte in a file of a hundred bytes: the read fails, and no memory was taken for it.
TEST(DamagedFiles, ClaimsBeyondTheFileTakeNoMemory) {
  const std::vector<std::string> paths = {"moovmvhd",         "moovudtatitl",         "moovtraktkhd",
                                          "moovtrakmdiamdhd", "moovtrakudtahntisdp ", "moovtrakudtahinfpayt",
                                          "moovudtaloci",     "moovtraktref",         "mooviods"};
  for (const std::string& path : paths) {
    Fields nested;
    for (size_t at = 0; at < path.size(); at += 4) {
      nested.append(header(0x40000000 - static_cast<uint32_t>(2 * at), path.substr(at, 4)));
    }
    MemorySource source(nested.zeros(64).bytes);
    const FailingAllocator watch(0);
    EXPECT_EQ(use(source).open_status, P3GPP_ERR_READ) << path;
    EXPECT_LE(watch.largest(), 1u << 16);
  }
}

// A single fault shows in the first status that it changes, or changes nothing at all.
void expect_told(const ExerciseResult& faulty, const ExerciseResult& sound, const std::string& fault) {
  constexpr int32_t kTelling[] = {P3GPP_ERR_GENERIC, P3GPP_ERR_NO_MEMORY, P3GPP_ERR_OPEN, P3GPP_ERR_READ,
                                  P3GPP_ERR_NO_MOOV};
  ASSERT_EQ(faulty.undocumented_status, 0) << fault;
  const auto [told, expected] = std::mismatch(faulty.statuses.begin(), faulty.statuses.end(),
                                              sound.statuses.begin(), sound.statuses.end());
  if (told == faulty.statuses.end()) {
    ASSERT_EQ(expected, sound.statuses.end()) << fault;
    ASSERT_EQ(faulty.checksum, sound.checksum) << fault;
  } else {
    ASSERT_NE(std::find(std::begin(kTelling), std::end(kTelling), *told), std::end(kTelling))
        << fault << ' ' << *told;
  }
}

TEST(DamagedFiles, EveryFailingAllocationIsTold) {
  const Bytes file = everything();
  MemorySource counted(file);
  uint64_t total = 0;
  ExerciseResult sound;
  {
    const FailingAllocator watch(0);
    sound = use(counted, 3);
    total = watch.count();
  }
  EXPECT_EQ(sound.tracks, 3u);
  EXPECT_EQ(sound.tags, uint32_t{P3GPP_TAG_COUNT});
  for (uint64_t n = 1; n <= total; ++n) {
    MemorySource source(file);
    const FailingAllocator failing(n);
    try {
      expect_told(use(source, 3), sound, "allocation " + std::to_string(n));
    } catch (const std::bad_alloc&) {  // an allocation of the test itself
    }
    ASSERT_TRUE(failing.struck()) << n << " of " << total;
  }
}

// On the device of the filter, a file with a wide path, and at every point where its layers can fail.
TEST(DamagedFiles, EveryFaultOfTheFileLayerIsTold) {
  using platform::FaultPoint;
  const Bytes bytes = everything();
  const tests::TempFolder folder;
  tests::write_file(folder / "f.mp4", {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  const std::u16string path = (folder / "f.mp4").u16string();
  FMGR_Descriptor descriptor{};
  descriptor.type = FMGR_DEV_FILE_W;
  descriptor.source.wide_path = path.c_str();
  const ExerciseResult sound = use(descriptor, 3);
  EXPECT_EQ(sound.tracks, 3u);
  for (const FaultPoint point :
       {FaultPoint::kFileOpen, FaultPoint::kFileRead, FaultPoint::kFileSeek, FaultPoint::kMutexCreate}) {
    int strikes = 0;
    for (bool struck = true; struck; ++strikes) {
      const FaultAt fault(point, strikes + 1);
      expect_told(use(descriptor, 3), sound,
                  std::to_string(static_cast<int>(point)) + ' ' + std::to_string(strikes));
      struck = fault.struck();
    }
    EXPECT_GT(strikes, 3) << static_cast<int>(point);
  }
}

// The tables are stepped over, not read: opening costs the same for any number of samples.
TEST(HugeTables, CostNothingToOpen) {
  const auto reads = [](uint32_t sample_count) {
    TrackDescription track = amr_track(1);
    track.replaced["stsz"] = stsz(std::vector<uint32_t>(sample_count, 1));
    track.replaced["stts"] = stts(Runs(sample_count, {1, 1}));
    const OpenedMovie movie(build_movie(track).bytes);
    EXPECT_EQ(movie.status, P3GPP_OK);
    return std::make_pair(movie.source.read_count, movie.source.bytes_read);
  };
  EXPECT_EQ(reads(10), reads(60000));
}

}  // namespace
}  // namespace zdr::test
