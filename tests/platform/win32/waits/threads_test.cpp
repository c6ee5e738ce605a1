// Threads and their handles.
#include <atomic>
#include <chrono>

#include "tests/platform/win32/win32_test_support.h"

namespace zdr::test {

namespace {

using Threads = Win32Test;

DWORD wait_for_event(LPVOID event) {
  return WaitForSingleObject(event, INFINITE);
}

TEST_F(Threads, AHandleStaysSignalledOnceItsThreadHasEnded) {
  const ScopedHandle gate = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  DWORD id = 0;
  const ScopedHandle thread = CreateThread(nullptr, 0, wait_for_event, gate, 0, &id);
  EXPECT_NE(id, 0u);
  EXPECT_EQ(poll(thread), WAIT_TIMEOUT);
  EXPECT_TRUE(SetThreadPriority(thread, THREAD_PRIORITY_TIME_CRITICAL));
  EXPECT_EQ(failure(SetThreadPriority(thread, 3)), ERROR_INVALID_PARAMETER);
  SetEvent(gate);
  SetLastError(kUntouched);
  std::thread([] { EXPECT_EQ(GetLastError(), NO_ERROR) << "the last error belongs to the thread"; }).join();
  for (int i = 0; i < 2; ++i) EXPECT_EQ(WaitForSingleObject(thread, INFINITE), WAIT_OBJECT_0);
}

// A module whose destructors run on the thread may be unloaded once the handle is signalled. The destructor
// waits until this thread sleeps on the handle, so that a premature signal is noticed.
TEST_F(Threads, DestructorsAndAbandonmentPrecedeTheSignal) {
  static std::atomic<int> destroyed;
  static pid_t waiter;
  waiter = gettid();
  struct WaitingDestructor {
    ~WaitingDestructor() {
      await_sleep_in_wait(waiter);
      ++destroyed;
    }
  };
  destroyed = 0;
  const ScopedHandle mutex = CreateMutexW(nullptr, FALSE, nullptr);
  const auto run = [](LPVOID owned) -> DWORD {
    thread_local WaitingDestructor late;
    (void)&late;
    return WaitForSingleObject(owned, INFINITE);
  };
  const ScopedHandle thread = CreateThread(nullptr, 0, run, mutex, 0, nullptr);
  EXPECT_EQ(WaitForSingleObject(thread, INFINITE), WAIT_OBJECT_0);
  EXPECT_EQ(destroyed, 1);
  EXPECT_EQ(poll(mutex), WAIT_ABANDONED);
  EXPECT_TRUE(ReleaseMutex(mutex));
}

TEST_F(Threads, BadArgumentsAreRefused) {
  const auto error_of = [](SIZE_T stack, LPTHREAD_START_ROUTINE routine, DWORD flags) {
    return failure(CreateThread(nullptr, stack, routine, nullptr, flags, nullptr));
  };
  EXPECT_EQ(error_of(0, nullptr, 0), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(error_of(0, wait_for_event, 4), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(error_of(SIZE_MAX / 2, wait_for_event, 0), ERROR_NOT_ENOUGH_MEMORY);
}

TEST_F(Threads, SleepTakesAtLeastItsTime) {
  const auto before = std::chrono::steady_clock::now();
  Sleep(2);
  EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(2));
}

}  // namespace

}  // namespace zdr::test
