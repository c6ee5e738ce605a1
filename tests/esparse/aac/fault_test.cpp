// Runs the reader from open to close while the Nth file callback or the Nth allocation fails.
#include <gtest/gtest.h>

#include <array>
#include <set>

#include "mediakit/files/id3_builder.h"
#include "tests/esparse/aac/opened_file.h"
#include "tests/support/failing_allocator.h"

namespace zdr::test {
namespace {

using Statuses = std::array<int32_t, 10>;

// Returns the statuses of all calls. Allocates nothing itself.
Statuses use_reader(MemoryFile& file, std::vector<int16_t>& pcm) {
  Statuses statuses{};
  auto status = statuses.begin();
  AACF_File* reader = nullptr;
  const AACF_OpenParams params{&file.io(), 2000};
  *status++ = AACF_Open(&reader, u"a", &params);
  if (reader != nullptr) {
    for (const uint32_t number : {1u, 2u, 50u, 51u, 3u, 80u}) {
      AACF_FrameRequest request{number, static_cast<uint32_t>(2 * pcm.size()), pcm.data()};
      *status++ = AACF_ReadFrame(reader, &request);
    }
    ID3P_Text text{};
    *status++ = AACF_GetTagText(reader, &text);
    if (text.release != nullptr) text.release(&text);
    *status++ = AACF_RefreshConfig(reader);
    *status = AACF_Close(reader);
  }
  EXPECT_LE(file.counts().closes, file.counts().opens);
  return statuses;
}

std::array<Bytes, 2> contents() {
  return {concat({id3v2(3, 0, v23_frame("TIT2", {0, 'S'})), adts_file(100, 400)}),
          concat({raw_header(), repeated(silent_block(400, 2, 0xFF), 100)})};
}

TEST(Faults, OfFileCallsReturnDocumentedStatuses) {
  std::vector<int16_t> pcm(8192);
  std::set<int32_t> seen;
  for (const Bytes& content : contents()) {
    bool triggered = true;
    for (uint64_t nth = 1; triggered; ++nth) {
      MemoryFile file(content);
      file.fail_call(nth);
      for (const int32_t status : use_reader(file, pcm)) seen.insert(status);
      triggered = file.has_failed();
      file.fail_call(0);
      EXPECT_EQ(use_reader(file, pcm), Statuses{}) << "after fault " << nth;
    }
  }
  EXPECT_EQ(seen, (std::set<int32_t>{AACF_OK, AACF_ERR_FAILED, AACF_ERR_OPEN, AACF_ERR_SHORT_READ}));
}

TEST(Faults, OfTheHeapReturnDocumentedStatuses) {
  std::vector<int16_t> pcm(8192);
  for (const Bytes& content : contents()) {
    std::set<int32_t> seen;
    int failures = 0;
    bool triggered = true;
    for (uint64_t nth = 1; triggered; ++nth) {
      MemoryFile file(content);
      Statuses statuses;
      {
        const FailingAllocator failing(nth);
        statuses = use_reader(file, pcm);
        triggered = failing.triggered();
      }
      seen.insert(statuses.begin(), statuses.end());
      failures += statuses != Statuses{};
    }
    EXPECT_EQ(seen, (std::set<int32_t>{AACF_OK, AACF_ERR_FAILED, AACF_ERR_NO_MEMORY}));
    // At least the reader, its buffer and the decoder.
    EXPECT_GE(failures, 3);
  }
}

}  // namespace
}  // namespace zdr::test
