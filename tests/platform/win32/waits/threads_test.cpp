// Threads, their handles and the last error of each.
#include <atomic>
#include <thread>

#include "tests/platform/win32/win32_test_support.h"

namespace zdr::platform::test {

namespace {

using ThreadsTest = Win32Test;

DWORD wait_for_event(LPVOID event) {
  return WaitForSingleObject(event, INFINITE);
}

TEST_F(ThreadsTest, AHandleIsSignalledForEverOnceItsThreadEnded) {
  const ScopedHandle gate = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  DWORD id = 0;
  const ScopedHandle thread = CreateThread(nullptr, 0, wait_for_event, gate, 0, &id);
  DWORD code = 0;
  EXPECT_TRUE(GetExitCodeThread(thread, &code) && code == STILL_ACTIVE);
  EXPECT_EQ(WaitForSingleObject(thread, 0), WAIT_TIMEOUT);
  SetEvent(gate);
  for (int i = 0; i < 2; ++i) EXPECT_EQ(WaitForSingleObject(thread, INFINITE), WAIT_OBJECT_0);
  EXPECT_TRUE(GetExitCodeThread(thread, &code) && code == WAIT_OBJECT_0);
  EXPECT_NE(id, GetCurrentThreadId());
}

// A module whose destructors run on the thread may be unloaded once the handle is signalled. The destructor
// waits until this thread sleeps on the handle, so a signal that came too early would be seen.
TEST_F(ThreadsTest, ThreadLocalDestructorsAndAbandonmentComeBeforeTheSignal) {
  static std::atomic<int> destroyed;
  static HANDLE mutex;
  static pid_t waiter;
  waiter = gettid();
  struct LateToDie {
    ~LateToDie() {
      await_sleep_in_wait(waiter);
      ++destroyed;
    }
  };
  destroyed = 0;
  const ScopedHandle owned = CreateMutexW(nullptr, FALSE, nullptr);
  mutex = owned;
  const auto run = [](LPVOID) -> DWORD {
    thread_local LateToDie late;
    (void)&late;
    return WaitForSingleObject(mutex, INFINITE);
  };
  const ScopedHandle thread = CreateThread(nullptr, 0, run, nullptr, 0, nullptr);
  EXPECT_EQ(WaitForSingleObject(thread, INFINITE), WAIT_OBJECT_0);
  EXPECT_EQ(destroyed, 1);
  EXPECT_EQ(WaitForSingleObject(owned, 0), WAIT_ABANDONED);
  EXPECT_TRUE(ReleaseMutex(owned));
}

TEST_F(ThreadsTest, BadArgumentsAreRefused) {
  const struct {
    SIZE_T stack;
    LPTHREAD_START_ROUTINE routine;
    DWORD flags;
    DWORD error;
  } rows[] = {{0, nullptr, 0, ERROR_INVALID_PARAMETER},
              {0, wait_for_event, 0x40, ERROR_INVALID_PARAMETER},
              {SIZE_MAX / 2, wait_for_event, 0, ERROR_NOT_ENOUGH_MEMORY}};
  for (const auto& row : rows) {
    EXPECT_EQ(failure(CreateThread(nullptr, row.stack, row.routine, nullptr, row.flags, nullptr)), row.error);
  }
  EXPECT_EQ(failure(SetThreadPriority(GetCurrentThread(), 3)), ERROR_INVALID_PARAMETER);
}

TEST_F(ThreadsTest, TheLastErrorBelongsToTheThread) {
  SetLastError(5);
  std::thread([] {
    EXPECT_EQ(GetLastError(), NO_ERROR);
    SetLastError(7);
  }).join();
  EXPECT_EQ(GetLastError(), 5u);
}

TEST_F(ThreadsTest, PrioritiesAreKept) {
  const ScopedHandle gate = CreateEventW(nullptr, TRUE, TRUE, nullptr);
  const ScopedHandle other = CreateThread(nullptr, 0, wait_for_event, gate, 0, nullptr);
  for (const HANDLE thread : {static_cast<HANDLE>(other), GetCurrentThread()}) {
    EXPECT_EQ(GetThreadPriority(thread), THREAD_PRIORITY_NORMAL);
    EXPECT_TRUE(SetThreadPriority(thread, THREAD_PRIORITY_TIME_CRITICAL));
    EXPECT_EQ(GetThreadPriority(thread), THREAD_PRIORITY_TIME_CRITICAL);
  }
}

TEST_F(ThreadsTest, ClocksAndSleepAgree) {
  LARGE_INTEGER frequency;
  LARGE_INTEGER before;
  LARGE_INTEGER after;
  QueryPerformanceFrequency(&frequency);
  QueryPerformanceCounter(&before);
  const ULONGLONG ticks_before = GetTickCount64();
  Sleep(2);  // what is tested: it may take longer, never less
  QueryPerformanceCounter(&after);
  EXPECT_GE((after.QuadPart - before.QuadPart) * 1000, 2 * frequency.QuadPart);
  EXPECT_GE(GetTickCount64() - ticks_before, 1u);
}

}  // namespace

}  // namespace zdr::platform::test
