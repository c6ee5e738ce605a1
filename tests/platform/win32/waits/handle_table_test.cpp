// Handles: every function refuses stale ones, and a close beside a look-up harms nobody.
#include <atomic>
#include <functional>
#include <thread>
#include <vector>

#include "tests/platform/win32/win32_test_support.h"

extern "C" BOOL c_opens_and_closes_an_event(void);

namespace zdr::platform::test {

namespace {

using HandleTest = Win32Test;

struct HandleCall {
  const char* name;
  std::function<bool(HANDLE)> fails;
};

// Where the calls below put what they would give.
char byte;
DWORD number;
LARGE_INTEGER large;

const HandleCall kCalls[] = {
    {"CloseHandle", [](HANDLE h) { return !CloseHandle(h); }},
    {"ReadFile", [](HANDLE h) { return !ReadFile(h, &byte, 1, &number, nullptr); }},
    {"WriteFile", [](HANDLE h) { return !WriteFile(h, "x", 1, &number, nullptr); }},
    {"SetFilePointer", [](HANDLE h) { return SetFilePointer(h, 0, nullptr, FILE_BEGIN) == ~DWORD{0}; }},
    {"SetFilePointerEx", [](HANDLE h) { return !SetFilePointerEx(h, {}, nullptr, FILE_BEGIN); }},
    {"GetFileSize", [](HANDLE h) { return GetFileSize(h, nullptr) == INVALID_FILE_SIZE; }},
    {"GetFileSizeEx", [](HANDLE h) { return !GetFileSizeEx(h, &large); }},
    {"SetEndOfFile", [](HANDLE h) { return !SetEndOfFile(h); }},
    {"FlushFileBuffers", [](HANDLE h) { return !FlushFileBuffers(h); }},
    {"SetEvent", [](HANDLE h) { return !SetEvent(h); }},
    {"ResetEvent", [](HANDLE h) { return !ResetEvent(h); }},
    {"ReleaseMutex", [](HANDLE h) { return !ReleaseMutex(h); }},
    {"ReleaseSemaphore", [](HANDLE h) { return !ReleaseSemaphore(h, 1, nullptr); }},
    {"WaitForSingleObject", [](HANDLE h) { return WaitForSingleObject(h, 0) == WAIT_FAILED; }},
    {"WaitForMultipleObjects", [](HANDLE h) { return WaitForMultipleObjects(1, &h, FALSE, 0) == ~DWORD{0}; }},
    {"ResumeThread", [](HANDLE h) { return ResumeThread(h) == ~DWORD{0}; }},
    {"GetExitCodeThread", [](HANDLE h) { return !GetExitCodeThread(h, &number); }},
    {"SetThreadPriority", [](HANDLE h) { return !SetThreadPriority(h, 0); }},
    {"GetThreadPriority", [](HANDLE h) { return GetThreadPriority(h) == THREAD_PRIORITY_ERROR_RETURN; }},
};

HANDLE as_handle(uintptr_t value) {
  return reinterpret_cast<HANDLE>(value);
}

TEST_F(HandleTest, EveryFunctionAnswers6ForNullUnknownAndClosedHandles) {
  const HANDLE closed = CreateEventW(nullptr, FALSE, FALSE, nullptr);
  CloseHandle(closed);
  const auto closed_value = reinterpret_cast<uintptr_t>(closed);
  const HANDLE bad[] = {nullptr,
                        INVALID_HANDLE_VALUE,
                        closed,
                        as_handle(closed_value + 1),
                        as_handle(0x12345678),
                        as_handle(closed_value + (uintptr_t{1} << 32))};
  for (const HandleCall& call : kCalls) {
    for (const HANDLE handle : bad) {
      SetLastError(kUntouched);
      EXPECT_TRUE(call.fails(handle)) << call.name << ' ' << handle;
      EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE) << call.name << ' ' << handle;
    }
  }
}

// Only the functions that fit the kind may touch the object.
TEST_F(HandleTest, AHandleOfAnotherKindAnswers6) {
  const ScopedHandle file = open_for(make_file("a"), GENERIC_READ | GENERIC_WRITE);
  const ScopedHandle event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
  const ScopedHandle shared = CreateEventW(nullptr, FALSE, FALSE, u"AHandleOfAnotherKind");
  for (const HandleCall& call : kCalls) {
    const std::string name = call.name;
    if (name == "CloseHandle") continue;
    const bool for_files = name.find("File") != std::string::npos;
    const bool for_events =
        name.find("Event") != std::string::npos || name.find("WaitFor") != std::string::npos;
    SetLastError(kUntouched);
    if (!for_files) {
      EXPECT_TRUE(call.fails(file) && GetLastError() == ERROR_INVALID_HANDLE) << name;
    }
    if (for_events) continue;
    EXPECT_TRUE(call.fails(event) && GetLastError() == ERROR_INVALID_HANDLE) << name;
    EXPECT_TRUE(call.fails(shared) && GetLastError() == ERROR_INVALID_HANDLE) << name;
  }
}

TEST_F(HandleTest, ClosedHandlesStayStaleWhileTheirSlotsAreUsedAgain) {
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

TEST_F(HandleTest, TheTableFillsUpAndRecovers) {
  std::vector<HANDLE> handles;
  for (;;) {
    const HANDLE handle = CreateEventW(nullptr, TRUE, TRUE, nullptr);
    if (handle == nullptr) break;
    handles.push_back(handle);
  }
  EXPECT_EQ(GetLastError(), ERROR_NO_SYSTEM_RESOURCES);
  EXPECT_GT(handles.size(), 60000u);
  EXPECT_EQ(failed_open(open_for(make_file("a"), GENERIC_READ)), ERROR_TOO_MANY_OPEN_FILES);
  for (const HANDLE handle : handles) ASSERT_TRUE(CloseHandle(handle));
  const ScopedHandle after = CreateEventW(nullptr, TRUE, TRUE, nullptr);
  EXPECT_NE(static_cast<HANDLE>(after), nullptr);
}

// One thread opens and closes, others use the handle value they saw: each call succeeds or answers 6.
TEST_F(HandleTest, ClosingBesideUsersIsSafe) {
  std::atomic<HANDLE> current{nullptr};
  std::atomic<bool> done{false};
  std::atomic<uint64_t> successes{0};
  const auto use = [&] {
    while (!done) {
      const HANDLE handle = current;
      const DWORD result = WaitForSingleObject(handle, 0);
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

TEST_F(HandleTest, TheHeaderServesC) {
  EXPECT_TRUE(c_opens_and_closes_an_event());
}

}  // namespace

}  // namespace zdr::platform::test
