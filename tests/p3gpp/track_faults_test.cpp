// A track whose file layer or memory fails somewhere: a documented status, and a track that still works once
// the fault is gone.
#include "gtest/gtest.h"
#include "tests/platform/fault_at.h"
#include "tests/support/failing_allocator.h"
#include "tests/support/temp_folder.h"
#include "track_file.h"

namespace zdr::test {
namespace {

using platform::FaultPoint;

// Tables larger than their caches, so that reading refills them all.
TrackTables large_tables() {
  TrackTables tables;
  tables.sizes.assign(400, 5);
  tables.stts.assign(400, {1u, 10u});
  tables.has_ctts = true;
  tables.ctts.assign(400, {1u, 3u});
  tables.has_stss = true;
  tables.stsc.clear();
  tables.chunk_offsets.clear();
  for (uint32_t n = 1; n <= 400; ++n) {
    tables.stss.push_back(n);
    tables.stsc.push_back({n, 1});
    tables.chunk_offsets.push_back(20000 + n * 7);
  }
  return tables;
}

// The same file on the device of the filter: a file with a wide path.
class FileOnDisk {
 public:
  FileOnDisk() : bytes_(make_file({large_tables()}, 24000)) {
    tests::write_file(folder_ / "f.mp4", {reinterpret_cast<const char*>(bytes_.data()), bytes_.size()});
    path_ = (folder_ / "f.mp4").u16string();
    descriptor.type = FMGR_DEV_FILE_W;
    descriptor.source.wide_path = path_.c_str();
  }
  const Bytes& bytes() const { return bytes_; }
  FMGR_Descriptor descriptor{};

 private:
  tests::TempFolder folder_;
  Bytes bytes_;
  std::u16string path_;
};

// Every query on every third sample. The first status that is not 0, or 0 after the bytes were right.
int32_t use_track(P3gppTrack* track, const Bytes& file) {
  uint32_t size = 0;
  if (const int32_t status = P3GPP_GetMaxSampleSize(track, &size)) return status;
  float bitrate = 0;
  if (const int32_t status = P3GPP_GetBitrate(track, &bitrate)) return status;
  for (uint32_t n = 1; n <= 400; n += 3) {
    Bytes bytes(5);
    P3gppSample sample{};
    sample.number = n;
    sample.buffer = bytes.data();
    if (const int32_t status = P3GPP_ReadSample(track, &sample)) return status;
    EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), file.data() + 20000 + n * 7)) << n;
    EXPECT_EQ(sample.composition_time, (n - 1) * 10 + 3);
    int32_t is_sync = 0;
    if (const int32_t status = P3GPP_IsSyncSample(track, n, &is_sync)) return status;
    EXPECT_EQ(is_sync, 1);
  }
  return P3GPP_OK;
}

int32_t open_and_use(P3gppFile* file, const Bytes& bytes) {
  P3gppTrack* track = nullptr;
  int32_t status = P3GPP_OpenTrack(file, &track, 1, 1024);
  EXPECT_EQ(track != nullptr, status == P3GPP_OK);
  if (status != P3GPP_OK) return status;
  status = use_track(track, bytes);
  EXPECT_EQ(P3GPP_CloseTrack(track), P3GPP_OK);
  return status;
}

class TrackFaults : public ::testing::Test {
 protected:
  TrackFaults() {
    const FMGR_Config unbuffered{0, 0};
    EXPECT_EQ(FMGR_Init(&context_, &unbuffered), FMGR_OK);
    EXPECT_EQ(P3GPP_Open(&file_, &disk_.descriptor, context_), P3GPP_OK);
  }
  ~TrackFaults() override {
    P3GPP_Close(file_);
    FMGR_Deinit(context_);
  }

  FileOnDisk disk_;
  FMGR_Context* context_ = nullptr;
  P3gppFile* file_ = nullptr;
};

TEST_F(TrackFaults, EachFailureOfTheFileLayerHasItsStatus) {
  struct Case {
    FaultPoint point;
    std::vector<int32_t> allowed;
    int min_strikes;
  };
  for (const Case& each : std::vector<Case>{
           {FaultPoint::kFileOpen, {P3GPP_ERR_OPEN}, 1},
           {FaultPoint::kFileRead, {P3GPP_ERR_READ, P3GPP_ERR_GENERIC}, 100},
           {FaultPoint::kFileSeek, {P3GPP_ERR_READ, P3GPP_ERR_GENERIC}, 100},
           {FaultPoint::kMutexCreate, {P3GPP_ERR_OPEN}, 1},
       }) {
    SCOPED_TRACE(static_cast<int>(each.point));
    int strikes = 0;
    for (bool struck = true; struck; ++strikes) {
      const FaultAt fault(each.point, strikes + 1);
      const int32_t status = open_and_use(file_, disk_.bytes());
      struck = fault.struck();
      const bool allowed = std::find(each.allowed.begin(), each.allowed.end(), status) != each.allowed.end();
      EXPECT_TRUE(struck ? allowed : status == P3GPP_OK) << "fault " << strikes + 1 << ": " << status;
    }
    EXPECT_GT(strikes, each.min_strikes);
    EXPECT_EQ(open_and_use(file_, disk_.bytes()), P3GPP_OK);
  }
}

TEST_F(TrackFaults, EachFailingAllocationHasItsStatus) {
  int out_of_memory = 0;
  uint64_t n = 0;
  for (bool struck = true; struck;) {
    P3gppTrack* track = nullptr;
    int32_t status = P3GPP_OK;
    uint32_t size = 0;
    {
      const FailingAllocator failing(++n);
      status = P3GPP_OpenTrack(file_, &track, 1, 1024);
      if (status == P3GPP_OK) status = P3GPP_GetMaxSampleSize(track, &size);
      struck = failing.struck();
    }
    // Below the parser a failed allocation fails the open of a stream, or is done without.
    EXPECT_TRUE(status == P3GPP_OK || status == P3GPP_ERR_NO_MEMORY || status == P3GPP_ERR_OPEN) << n;
    out_of_memory += status == P3GPP_ERR_NO_MEMORY;
    if (track != nullptr) P3GPP_CloseTrack(track);
    EXPECT_EQ(open_and_use(file_, disk_.bytes()), P3GPP_OK);
  }
  EXPECT_EQ(out_of_memory, 7);  // six caches and the block of the walk
}

}  // namespace
}  // namespace zdr::test
