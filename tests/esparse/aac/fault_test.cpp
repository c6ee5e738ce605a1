// Runs the reader from open to close while the Nth file callback or the Nth allocation fails.
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>

#include "mediakit/files/id3_builder.h"
#include "tests/esparse/aac/opened_file.h"
#include "tests/support/failing_allocator.h"

namespace zdr::test {
namespace {

constexpr int32_t kStatuses[] = {AACF_OK,
                                 AACF_ERR_FAILED,
                                 AACF_ERR_NO_MEMORY,
                                 AACF_ERR_OPEN,
                                 AACF_ERR_SHORT_READ,
                                 AACF_ERR_NEED_MORE_DATA,
                                 AACF_ERR_END_OF_STREAM};
constexpr uint32_t kGood = 1;       // bits, by the order of kStatuses
constexpr uint32_t kHeapOnly = 7;   // may result from a failing allocation
constexpr uint32_t kFileSeen = 11;  // all of these must result from failing file callbacks

// Returns a bit for each status that the calls returned. Allocates nothing itself.
uint32_t use_reader(MemoryFile& file, std::vector<int16_t>& pcm) {
  uint32_t seen = 0;
  const auto note = [&seen](int32_t status) {
    const auto known = std::ranges::find(kStatuses, status);
    EXPECT_NE(known, std::end(kStatuses)) << status;
    seen |= 1u << (known - std::begin(kStatuses));
  };
  AACF_File* reader = nullptr;
  const AACF_OpenParams params{&file.io(), 2000};
  note(AACF_Open(&reader, u"a", &params));
  if (reader != nullptr) {
    for (const uint32_t number : {1u, 2u, 50u, 51u, 3u, 80u}) {
      AACF_FrameRequest request{number, static_cast<uint32_t>(2 * pcm.size()), pcm.data()};
      note(AACF_ReadFrame(reader, &request));
    }
    ID3P_Text text{};
    note(AACF_GetTagText(reader, &text));
    if (text.release != nullptr) text.release(&text);
    note(AACF_RefreshConfig(reader));
    note(AACF_Close(reader));
  }
  EXPECT_LE(file.counts().closes, file.counts().opens);
  return seen;
}

class Faults : public testing::TestWithParam<bool> {
 protected:
  const Bytes content_ = GetParam() ? concat({id3v2(3, 0, v23_frame("TIT2", {0, 'S'})), adts_file(100, 400)})
                                    : concat({raw_header(), repeated(silent_block(400, 2, 0xFF), 100)});
  std::vector<int16_t> pcm_ = std::vector<int16_t>(8192);
};

TEST_P(Faults, FailingFileCallsReturnDocumentedStatuses) {
  uint32_t seen = 0;
  bool triggered = true;
  for (uint64_t nth = 1; triggered; ++nth) {
    MemoryFile file(content_);
    file.fail_call(nth);
    seen |= use_reader(file, pcm_);
    triggered = file.has_failed();
    file.fail_call(0);
    EXPECT_EQ(use_reader(file, pcm_), kGood) << "after fault " << nth;
  }
  EXPECT_EQ(seen & (kFileSeen | kHeapOnly), kFileSeen);
}

TEST_P(Faults, FailingAllocationsReturnDocumentedStatuses) {
  int failures = 0;
  bool triggered = true;
  for (uint64_t nth = 1; triggered; ++nth) {
    MemoryFile file(content_);
    uint32_t seen = 0;
    {
      const FailingAllocator failing(nth);
      seen = use_reader(file, pcm_);
      triggered = failing.triggered();
    }
    EXPECT_TRUE(seen == kGood || (triggered && (seen & ~kHeapOnly) == 0)) << nth;
    failures += seen != kGood;
  }
  // At least the reader, its buffer, the probe of the first frame and the decoder.
  EXPECT_GE(failures, 4);
}

INSTANTIATE_TEST_SUITE_P(Kinds, Faults, testing::Bool(),
                         [](const auto& chosen) { return chosen.param ? "TaggedAdts" : "Raw"; });

}  // namespace
}  // namespace zdr::test
