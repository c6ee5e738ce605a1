// Handles: every function refuses stale ones, and a close may coincide with a look-up.
#include <atomic>
#include <functional>
#include <vector>

#include "tests/platform/win32/win32_test_support.h"

extern "C" BOOL c_opens_and_closes_an_event(void);

namespace zdr::test {

namespace {

using Handles = Win32Test;

char byte;
DWORD number;

constexpr unsigned kFile = 1, kEvent = 2, kMutex = 4, kThread = 8;

const struct HandleCall {
  const char* name;
  unsigned kinds;  // that it accepts
  std::function<bool(HANDLE)> fails;
} kCalls[] = {
    {"CloseHandle", kFile | kEvent | kMutex | kThread, [](HANDLE h) { return !CloseHandle(h); }},
    {"ReadFile", kFile, [](HANDLE h) { return !ReadFile(h, &byte, 1, &number, nullptr); }},
    {"WriteFile", kFile, [](HANDLE h) { return !WriteFile(h, "x", 1, &number, nullptr); }},
    {"SetFilePointer", kFile,
     [](HANDLE h) { return SetFilePointer(h, 0, nullptr, FILE_BEGIN) == ~DWORD{0}; }},
    {"GetFileSize", kFile, [](HANDLE h) { return GetFileSize(h, nullptr) == INVALID_FILE_SIZE; }},
    {"FlushFileBuffers", kFile, [](HANDLE h) { return !FlushFileBuffers(h); }},
    {"SetEvent", kEvent, [](HANDLE h) { return !SetEvent(h); }},
    {"ResetEvent", kEvent, [](HANDLE h) { return !ResetEvent(h); }},
    {"ReleaseMutex", kMutex, [](HANDLE h) { return !ReleaseMutex(h); }},
    {"WaitForSingleObject", kEvent | kMutex | kThread, [](HANDLE h) { return poll(h) == WAIT_FAILED; }},
    {"WaitForMultipleObjects", kEvent | kThread,
     [](HANDLE h) { return WaitForMultipleObjects(1, &h, FALSE, 0) == WAIT_FAILED; }},
    {"SetThreadPriority", kThread, [](HANDLE h) { return !SetThreadPriority(h, 0); }},
};

TEST_F(Handles, EveryFunctionFailsWith6ForBadHandlesAndOtherKinds) {
  ScopedHandle gone = CreateMutexW(nullptr, FALSE, nullptr);
  const HANDLE closed = gone;
  EXPECT_EQ(poll(closed), WAIT_OBJECT_0);
  gone.close();  // while owned
  const auto beside = [&](uintptr_t distance) {
    return reinterpret_cast<HANDLE>(reinterpret_cast<uintptr_t>(closed) + distance);
  };
  const ScopedHandle gate = CreateEventW(nullptr, TRUE, FALSE, u"Gate");
  const ScopedHandle local = CreateEventW(nullptr, FALSE, FALSE, nullptr);
  const ScopedHandle mutex = CreateMutexW(nullptr, FALSE, nullptr);
  const ScopedHandle file = open_for(make_file("a"), GENERIC_READ | GENERIC_WRITE);
  const auto run = [](LPVOID event) { return WaitForSingleObject(event, INFINITE); };
  const ScopedHandle thread = CreateThread(nullptr, 0, run, gate, 0, nullptr);
  const std::pair<HANDLE, unsigned> handles[] = {
      {nullptr, 0},     {INVALID_HANDLE_VALUE, 0}, {closed, 0},    {beside(1), 0},  {beside(1u << 30), 0},
      {file, kFile},    {beside(1ull << 32), 0},   {gate, kEvent}, {local, kEvent}, {mutex, kMutex},
      {thread, kThread}};
  for (const auto& [handle, kind] : handles) {
    for (const HandleCall& call : kCalls) {
      if ((call.kinds & kind) != 0) continue;
      SetLastError(kUntouched);
      EXPECT_TRUE(call.fails(handle)) << call.name << ' ' << handle;
      EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE) << call.name << ' ' << handle;
    }
  }
  SetEvent(gate);
  WaitForSingleObject(thread, INFINITE);
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
  EXPECT_EQ(failure(CreateThread(
                nullptr, 0, [](LPVOID) -> DWORD { return 0; }, nullptr, 0, nullptr)),
            ERROR_NO_SYSTEM_RESOURCES);
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
