// The Nth failure of everything the manager asks the system for.
#include <gtest/gtest.h>

#include <algorithm>
#include <string_view>

#include "mediakit/files/sources.h"
#include "tests/platform/fault_at.h"
#include "tests/support/failing_allocator.h"

namespace {

using namespace zdr::tests;
using zdr::platform::FaultPoint;

// Opens, reads, seeks and closes as a parser does, and takes no memory of its own. Whether everything
// succeeded; statuses must be documented ones.
bool use_manager(const Source& source, uint32_t buffer_size) {
  bool all_good = true;
  const auto expect = [&](bool good) { all_good = all_good && good; };
  const auto check = [&](int32_t status) {
    EXPECT_TRUE(status >= 0 || status == FMGR_ERR_GENERIC || status == FMGR_ERR_NO_MEMORY ||
                status == FMGR_ERR_SEEK)
        << status;
    expect(status >= 0);
    return status;
  };
  char bytes[100];
  const auto reads = [&](const Stream& stream, uint32_t count, std::string_view expected) {
    const int32_t moved = check(FMGR_FRead(stream.get(), bytes, count));
    expect(moved >= 0 && std::string_view(bytes, static_cast<size_t>(moved)) == expected);
  };
  const FMGR_Config config = {buffer_size, buffer_size};
  FMGR_Context* made = nullptr;
  check(FMGR_Init(&made, &config));
  const Context context(made);
  if (!context) return false;
  const Stream streams[] = {open_stream(source, "rb", context), open_stream(source, "rb", context),
                            open_stream(source, "ra", context)};
  const std::string_view content = source.content();
  for (const Stream& stream : streams) {
    if (!stream) return false;
    reads(stream, sizeof bytes, content.substr(std::min<size_t>(tell(stream), content.size())));
    check(FMGR_FSeek(stream.get(), -4, FMGR_SEEK_END));
    reads(stream, 2, "gh");
    uint32_t size = 0;
    check(FMGR_FSize(stream.get(), &size));
  }
  return all_good;
}

constexpr FaultPoint kPoints[] = {FaultPoint::kFileOpen, FaultPoint::kFileRead, FaultPoint::kFileSeek,
                                  FaultPoint::kFileSize, FaultPoint::kMutexCreate};

TEST(Faults, OfTheSystemGiveStatusesAndLeaveNothing) {
  const Source source(FMGR_DEV_FILE_W, "0123456789abcdefghij");
  for (const uint32_t buffer_size : {0u, 7u}) {
    for (const FaultPoint point : kPoints) {
      int nth = 1;
      for (bool struck = true; struck; ++nth) {
        {
          const FaultAt fault(point, nth);
          use_manager(source, buffer_size);
          struck = fault.struck();
        }
        EXPECT_TRUE(use_manager(source, buffer_size)) << "after fault " << nth;
      }
      EXPECT_GT(nth, 2) << "the point was never reached: " << static_cast<uint32_t>(point);
    }
  }
}

TEST(Faults, OfTheHeapGiveStatusesAndLeaveNothing) {
  const Source source(FMGR_DEV_FILE_W, "0123456789abcdefghij");
  for (const uint32_t buffer_size : {0u, 7u}) {
    int failures = 0;
    uint64_t nth = 1;
    for (bool struck = true; struck; ++nth) {
      bool all_good = false;
      {
        const zdr::test::FailingAllocator failing(nth);
        all_good = use_manager(source, buffer_size);
        struck = failing.struck();
      }
      // The system copes without some of its memory, the manager needs all of its own.
      EXPECT_TRUE(all_good || struck);
      failures += !all_good;
    }
    // A context; a stream for each open, a file and a device for two of them; a buffer and its data for each.
    EXPECT_GE(failures, buffer_size == 0 ? 8 : 14);
  }
}

}  // namespace
