// The Nth failure of everything the manager asks the system for.
#include <gtest/gtest.h>

#include <new>

#include "fault_injection.h"
#include "tests/fmgr/sources.h"

namespace {

using namespace zdr::tests;
using zdr::platform::FaultPoint;

// Counts down to the call that fails; 0 lets all pass.
uint64_t g_allocations_left = 0;

struct Fault {
  FaultPoint point;
  uint64_t calls_left;
};

bool strikes(FaultPoint point, void* context) {
  auto& fault = *static_cast<Fault*>(context);
  return point == fault.point && fault.calls_left != 0 && --fault.calls_left == 0;
}

// Opens, reads, seeks and closes as a parser does. Whether everything succeeded; statuses must be documented
// ones.
bool use_manager(const Source& source, uint32_t buffer_size) {
  bool all_good = true;
  const auto note = [&](int32_t status) {
    EXPECT_TRUE(status >= 0 || status == FMGR_ERR_GENERIC || status == FMGR_ERR_NO_MEMORY ||
                status == FMGR_ERR_SEEK)
        << status;
    all_good = all_good && status >= 0;
  };
  const FMGR_Config config = {buffer_size, buffer_size};
  FMGR_Context* made = nullptr;
  note(FMGR_Init(&made, &config));
  const Context context(made);
  if (!context) return false;
  const Stream streams[] = {open_stream(source, "rb", context), open_stream(source, "rb", context),
                            open_stream(source, "ra", context)};
  uint32_t size = 0;
  for (const Stream& stream : streams) {
    if (!stream) return false;
    const size_t start = tell(stream);
    all_good = read_text(stream, 100) == source.content().substr(start) && all_good;
    note(FMGR_FSeek(stream.get(), -4, FMGR_SEEK_END));
    all_good = tell(stream) == 16 && read_text(stream, 2) == "gh" && all_good;
    note(FMGR_FSize(stream.get(), &size));
  }
  return all_good;
}

constexpr FaultPoint kPoints[] = {FaultPoint::kFileOpen, FaultPoint::kFileRead, FaultPoint::kFileSeek,
                                  FaultPoint::kFileSize, FaultPoint::kMutexCreate};

TEST(Faults, OfTheSystemGiveStatusesAndLeaveNothing) {
  const Source source(FMGR_DEV_FILE_W, "0123456789abcdefghij");
  for (const uint32_t buffer_size : {0u, 7u}) {
    for (const FaultPoint point : kPoints) {
      uint64_t nth = 1;
      for (bool struck = true; struck; ++nth) {
        Fault fault = {point, nth};
        zdr::platform::set_fault_hook(&strikes, &fault);
        use_manager(source, buffer_size);
        zdr::platform::set_fault_hook(nullptr, nullptr);
        struck = fault.calls_left == 0;
        EXPECT_TRUE(use_manager(source, buffer_size)) << "after fault " << nth;
      }
      EXPECT_GT(nth, 2u) << "the point was never reached: " << static_cast<uint32_t>(point);
    }
  }
}

TEST(Faults, OfTheHeapGiveStatusesAndLeaveNothing) {
  const Source source(FMGR_DEV_FILE_W, "0123456789abcdefghij");
  for (const uint32_t buffer_size : {0u, 7u}) {
    int failures = 0;
    uint64_t nth = 1;
    for (bool struck = true; struck; ++nth) {
      g_allocations_left = nth;
      const bool all_good = use_manager(source, buffer_size);
      struck = g_allocations_left == 0;
      g_allocations_left = 0;
      // The system copes without some of its memory, the manager needs all of its own.
      EXPECT_TRUE(all_good || struck);
      failures += !all_good;
    }
    // A context; a stream for each open, a file and a device for two of them; a buffer and its data for each.
    EXPECT_GE(failures, buffer_size == 0 ? 8 : 14);
  }
}

}  // namespace

// The manager takes memory through these only.
void* operator new(size_t size, const std::nothrow_t&) noexcept {
  if (g_allocations_left != 0 && --g_allocations_left == 0) return nullptr;
  try {
    return ::operator new(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}
void* operator new[](size_t size, const std::nothrow_t&) noexcept {
  if (g_allocations_left != 0 && --g_allocations_left == 0) return nullptr;
  try {
    return ::operator new[](size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}
