// The Nth failure of the heap and of the file, through opening, reading, seeking and closing.
#include <gtest/gtest.h>

#include "tests/esparse/aac/opened_file.h"
#include "tests/support/failing_allocator.h"
#include "tests/support/id3_builder.h"

namespace {

using namespace zdr::aacf::test;
using namespace std::string_literals;

bool is_documented(int32_t status) {
  switch (status) {
    case AACF_OK:
    case AACF_ERR_FAILED:
    case AACF_ERR_NO_MEMORY:
    case AACF_ERR_OPEN:
    case AACF_ERR_SHORT_READ:
    case AACF_ERR_NEED_MORE_DATA:
    case AACF_ERR_END_OF_STREAM:
      return true;
    default:
      return false;
  }
}

// Whether everything succeeded.
bool use_reader(zdr::test::MemoryFile& file, int16_t* pcm, uint32_t pcm_bytes) {
  bool all_good = true;
  const auto check = [&all_good](int32_t status) {
    EXPECT_TRUE(is_documented(status)) << status;
    all_good = all_good && status == AACF_OK;
    return status;
  };
  AACF_File* reader = nullptr;
  const AACF_OpenParams params{&file.io(), 2000};
  if (check(AACF_Open(&reader, u"a", &params)) == AACF_OK) {
    for (const uint32_t number : {1u, 2u, 50u, 51u, 3u, 80u}) {
      AACF_FrameRequest request{number, pcm_bytes, pcm};
      check(AACF_ReadFrame(reader, &request));
    }
    ID3P_Text text{};
    check(AACF_GetTagText(reader, &text));
    if (text.release != nullptr) text.release(&text);
    check(AACF_RefreshConfig(reader));
    check(AACF_Close(reader));
  }
  EXPECT_LE(file.counts().closes, file.counts().opens);
  return all_good;
}

class Faults : public testing::TestWithParam<bool> {
 protected:
  Bytes content_ =
      GetParam()
          ? concat({zdr::test::id3v2(3, 0, zdr::test::v23_frame("TIT2", zdr::test::bytes_of("\0Song"s))),
                    adts_file(100, 400)})
          : concat({raw_header(), repeated(silent_block(400, 2, 0xFF), 100)});
  std::vector<int16_t> pcm_ = std::vector<int16_t>(8192);
  uint32_t pcm_bytes_ = 16384;
};

TEST_P(Faults, OfTheFileGiveStatusesAndLeaveNothing) {
  int failures = 0;
  bool struck = true;
  for (uint64_t nth = 1; struck; ++nth) {
    zdr::test::MemoryFile file(content_);
    file.fail_call(nth);
    failures += !use_reader(file, pcm_.data(), pcm_bytes_);
    struck = file.has_failed();
    file.fail_call(0);
    EXPECT_TRUE(use_reader(file, pcm_.data(), pcm_bytes_)) << "after fault " << nth;
  }
  EXPECT_GT(failures, 3);
}

TEST_P(Faults, OfTheHeapGiveStatusesAndLeaveNothing) {
  int failures = 0;
  bool struck = true;
  for (uint64_t nth = 1; struck; ++nth) {
    zdr::test::MemoryFile file(content_);
    bool all_good = false;
    {
      const zdr::test::FailingAllocator failing(nth);
      all_good = use_reader(file, pcm_.data(), pcm_bytes_);
      struck = failing.struck();
    }
    EXPECT_TRUE(all_good || struck) << nth;
    failures += !all_good;
  }
  // The reader, its buffer, the probe of the first frame, the decoder at least.
  EXPECT_GE(failures, 3);
}

INSTANTIATE_TEST_SUITE_P(Kinds, Faults, testing::Bool(),
                         [](const auto& chosen) { return chosen.param ? "TaggedAdts" : "Raw"; });

}  // namespace
