// Handles: every function refuses stale ones, and a close may coincide with a look-up.
#include <atomic>
#include <vector>

#include "tests/platform/win32/win32_test_support.h"

extern "C" BOOL c_opens_and_closes_an_event(void);

namespace zdr::test {

namespace {

using Handles = Win32Test;

TEST_F(Handles, EveryFunctionFailsWith6ForBadHandlesAndOtherKinds) {
  ScopedHandle gone = CreateMutexW(nullptr, FALSE, nullptr);
  const HANDLE closed = gone;
  EXPECT_EQ(poll(closed), WAIT_OBJECT_0);
  gone.close();  // while owned
  const auto beside = [&](uintptr_t distance) {
    return reinterpret_cast<HANDLE>(reinterpret_cast<uintptr_t>(closed) + distance);
  };
  for (const HANDLE bad :
       {HANDLE{nullptr}, INVALID_HANDLE_VALUE, closed, beside(1), beside(1u << 30), beside(1ull << 32)}) {
    EXPECT_EQ(failure(CloseHandle(bad)), ERROR_INVALID_HANDLE) << bad;
  }
  const ScopedHandle event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
  const ScopedHandle mutex = CreateMutexW(nullptr, FALSE, nullptr);
  const ScopedHandle file = open_for(make_file("a"), GENERIC_READ);
  char byte;
  DWORD number;
  for (const DWORD error :
       {failure(ReadFile(event, &byte, 1, &number, nullptr)), failure(SetThreadPriority(event, 0)),
        failure(GetFileSize(mutex, nullptr) != INVALID_FILE_SIZE), failure(SetEvent(mutex)),
        failure(ResetEvent(file)), failure(ReleaseMutex(file)), failure(poll(file) != WAIT_FAILED)}) {
    EXPECT_EQ(error, ERROR_INVALID_HANDLE);
  }
}

TEST_F(Handles, StayStaleWhileTheirSlotsAreReused) {
  std::vector<HANDLE> closed;
  for (int i = 0; i < 5000; ++i) {
    const HANDLE handle = CreateEventW(nullptr, TRUE, TRUE, nullptr);
    ASSERT_EQ(reinterpret_cast<uintptr_t>(handle) >> 31, 0u) << "fits a 32-bit word";
    ASSERT_EQ(reinterpret_cast<uintptr_t>(handle) & 3, 0u);
    closed.push_back(handle);
    ASSERT_TRUE(CloseHandle(handle));
  }
  const ScopedHandle alive = CreateEventW(nullptr, TRUE, TRUE, nullptr);
  for (const HANDLE handle : closed) ASSERT_FALSE(SetEvent(handle));
}

TEST_F(Handles, FillTheTableAndLeaveItUsable) {
  std::vector<HANDLE> handles;
  while (const HANDLE handle = CreateEventW(nullptr, TRUE, TRUE, nullptr)) handles.push_back(handle);
  EXPECT_EQ(GetLastError(), ERROR_NO_SYSTEM_RESOURCES);
  EXPECT_GT(handles.size(), 60000u);
  EXPECT_EQ(failed_open(open_for(make_file("a"), GENERIC_READ)), ERROR_TOO_MANY_OPEN_FILES);
  for (const HANDLE handle : handles) ASSERT_TRUE(CloseHandle(handle));
  const ScopedHandle after = CreateEventW(nullptr, TRUE, TRUE, nullptr);
  EXPECT_NE(HANDLE{after}, nullptr);
}

// One thread opens and closes, others use the handle value they saw: each call succeeds or fails with 6.
TEST_F(Handles, MayBeClosedWhileOthersUseThem) {
  std::atomic<HANDLE> current{nullptr};
  std::atomic<bool> done{false};
  std::atomic<uint64_t> successes{0};
  const auto use = [&] {
    while (!done) {
      const HANDLE handle = current;
      const DWORD result = poll(handle);
      if (result == WAIT_OBJECT_0) {
        ++successes;
        ReleaseMutex(handle);
      } else if (result == WAIT_FAILED) {
        ASSERT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
      }
    }
  };
  std::thread first(use);
  std::thread second(use);
  for (int i = 0; i < 20000 || (successes == 0 && i < 10'000'000); ++i) {
    current = CreateMutexW(nullptr, FALSE, nullptr);
    ASSERT_TRUE(CloseHandle(current));
  }
  done = true;
  first.join();
  second.join();
}

TEST_F(Handles, CanBeUsedFromC) {
  EXPECT_TRUE(c_opens_and_closes_an_event());
}

}  // namespace

}  // namespace zdr::test
