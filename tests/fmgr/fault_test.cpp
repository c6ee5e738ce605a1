// The manager while the Nth call of the system or the Nth allocation fails.
#include <gtest/gtest.h>

#include <algorithm>
#include <string_view>

#include "mediakit/files/sources.h"
#include "tests/platform/fault_at.h"
#include "tests/support/failing_allocator.h"

namespace zdr::test {
namespace {

using platform::FaultPoint;

constexpr uint32_t kBufferSizes[] = {0, 7};
constexpr const char* kContent = "0123456789abcdefghij";

// Opens, reads, seeks and closes as a parser does, without allocations of its own. True if everything
// succeeded.
bool use_manager(const Source& source, uint32_t buffer_size) {
  bool succeeded = true;
  const auto check = [&succeeded](int32_t status) {
    EXPECT_TRUE(status >= 0 || status == FMGR_ERR_GENERIC || status == FMGR_ERR_NO_MEMORY ||
                status == FMGR_ERR_SEEK)
        << status;
    succeeded = succeeded && status >= 0;
    return static_cast<size_t>(std::max(status, 0));
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
    char bytes[100];
    const auto reads = [&](uint32_t count, std::string_view expected) {
      return std::string_view(bytes, check(FMGR_FRead(stream.get(), bytes, count))) == expected;
    };
    succeeded =
        reads(100, content.substr(static_cast<size_t>(std::min<uint64_t>(tell(stream), content.size())))) &&
        succeeded;
    check(FMGR_FSeek(stream.get(), -4, FMGR_SEEK_END));
    succeeded = reads(2, "gh") && succeeded;
    uint32_t size = 0;
    check(FMGR_FSize(stream.get(), &size));
  }
  return succeeded;
}

TEST(Faults, OfTheSystemReturnDocumentedStatusesAndLeaveNothing) {
  const Source source(FMGR_DEV_FILE_W, kContent);
  for (const uint32_t buffer_size : kBufferSizes) {
    for (const FaultPoint point : {FaultPoint::kFileOpen, FaultPoint::kFileRead, FaultPoint::kFileSeek,
                                   FaultPoint::kFileSize, FaultPoint::kMutexCreate}) {
      int nth = 1;
      for (bool triggered = true; triggered; ++nth) {
        {
          const FaultAt fault(point, nth);
          use_manager(source, buffer_size);
          triggered = fault.triggered();
        }
        EXPECT_TRUE(use_manager(source, buffer_size)) << "after fault " << nth;
      }
      EXPECT_GT(nth, 2) << "the point was never reached: " << static_cast<uint32_t>(point);
    }
  }
}

TEST(Faults, OfTheHeapReturnDocumentedStatusesAndLeaveNothing) {
  const Source source(FMGR_DEV_FILE_W, kContent);
  for (const uint32_t buffer_size : kBufferSizes) {
    int failures = 0;
    uint64_t nth = 1;
    for (bool triggered = true; triggered; ++nth) {
      const FailingAllocator failing(nth);
      const bool succeeded = use_manager(source, buffer_size);
      triggered = failing.triggered();
      failures += !succeeded;
      // The system succeeds without some of its allocations; the manager needs each of its own.
      EXPECT_TRUE(succeeded || triggered);
    }
    // A context; a stream for each open, a file and a device for two of them; a buffer and its data for each.
    EXPECT_GE(failures, buffer_size == 0 ? 8 : 14);
  }
}

}  // namespace
}  // namespace zdr::test
