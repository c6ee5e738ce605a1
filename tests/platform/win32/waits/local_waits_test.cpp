// Events, mutexes and threads of one process: single waits and waits for any of several; handles: every
// function refuses stale ones, and a close may coincide with a lookup. The tests of the OS layer cover the
// ownership of mutexes.
#include <atomic>
#include <vector>

#include "tests/platform/win32/child_process.h"
#include "tests/platform/win32/win32_test_support.h"

extern "C" BOOL c_opens_and_closes_an_event(void);

namespace zdr::test {

namespace {

using LocalWaits = Win32Test;
using Threads = Win32Test;

ScopedHandle event(bool manual, bool set, LPCWSTR name = nullptr) {
  return CreateEventW(nullptr, manual, set, name);
}

TEST_F(LocalWaits, AWaitConsumesAnAutoResetEventOnly) {
  for (const bool manual : {false, true}) {
    const ScopedHandle e = event(manual, true);
    EXPECT_EQ(GetLastError(), NO_ERROR) << "created";
    SetLastError(kUntouched);
    EXPECT_EQ(poll(e), WAIT_OBJECT_0) << "initially set";
    EXPECT_TRUE(SetEvent(e) && SetEvent(e));
    EXPECT_EQ(poll(e), WAIT_OBJECT_0);
    EXPECT_EQ(poll(e), manual ? WAIT_OBJECT_0 : DWORD{WAIT_TIMEOUT}) << "set twice, but not counted";
    SetEvent(e);
    EXPECT_TRUE(ResetEvent(e));
    EXPECT_EQ(WaitForSingleObject(e, 5), WAIT_TIMEOUT);
    EXPECT_EQ(GetLastError(), kUntouched);
  }
}

TEST_F(LocalWaits, AManualResetEventReleasesAllSleepers) {
  for (const LPCWSTR name : {LPCWSTR{nullptr}, LPCWSTR{u"AllSleepers"}}) {
    const ScopedHandle gate = event(true, false, name);
    std::atomic<pid_t> ids[3] = {0, 0, 0};
    std::vector<std::thread> threads;
    for (auto& id : ids) {
      threads.emplace_back([&] {
        id = gettid();
        EXPECT_EQ(WaitForSingleObject(gate, INFINITE), WAIT_OBJECT_0);
      });
    }
    for (const auto& id : ids) {
      while (id == 0) std::this_thread::yield();
      await_sleep_in_wait(id);
    }
    SetEvent(gate);
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(poll(gate), WAIT_OBJECT_0);
  }
}

TEST_F(LocalWaits, AbandonmentIsReportedOnceAndGivesOwnership) {
  const ScopedHandle mutex = CreateMutexW(nullptr, FALSE, nullptr);
  const ScopedHandle taken = event(true, false);
  std::thread owner([&, waiter = gettid()] {
    for (int i = 0; i < 2; ++i) EXPECT_EQ(poll(mutex), WAIT_OBJECT_0);
    SetEvent(taken);
    await_sleep_in_wait(waiter);
  });
  WaitForSingleObject(taken, INFINITE);
  EXPECT_EQ(WaitForSingleObject(mutex, INFINITE), WAIT_ABANDONED);
  owner.join();
  EXPECT_TRUE(ReleaseMutex(mutex));
  EXPECT_FALSE(ReleaseMutex(mutex)) << "the ended owner's waits do not count";
  EXPECT_EQ(poll(mutex), WAIT_OBJECT_0) << "ordinary again";
  EXPECT_TRUE(ReleaseMutex(mutex));
}

TEST_F(LocalWaits, WaitingForAnyTakesTheFirstReadyOne) {
  for (const LPCWSTR name : {LPCWSTR{nullptr}, LPCWSTR{u"WaitingForAny"}}) {
    const ScopedHandle a = event(false, false);
    const ScopedHandle b = event(false, true, name);
    const ScopedHandle c = event(true, true);
    const HANDLE all[] = {a, b, c};
    EXPECT_EQ(WaitForMultipleObjects(3, all, FALSE, 0), WAIT_OBJECT_0 + 1);
    EXPECT_EQ(WaitForMultipleObjects(3, all, FALSE, INFINITE), WAIT_OBJECT_0 + 2);
    EXPECT_EQ(WaitForMultipleObjects(2, all, FALSE, 5), WAIT_TIMEOUT);
    for (const DWORD later : {0u, 1u}) {
      std::thread setter([&, waiter = gettid()] {
        await_sleep_in_wait(waiter);
        SetEvent(all[later]);
      });
      EXPECT_EQ(WaitForMultipleObjects(2, all, FALSE, INFINITE), WAIT_OBJECT_0 + later);
      setter.join();
    }
  }
}

// Kernels before 5.16, and some containers, cannot sleep on several words.
TEST_F(LocalWaits, WaitingForAnyNeedsNoKernelSupport) {
  for (const char* error : {"38", "1"}) {  // ENOSYS, EPERM
    ChildProcess child;
    EXPECT_EQ(child.call(std::string("wait-without-waitv ") + error), "1") << error;
  }
}

TEST_F(LocalWaits, MultipleWaitsRefuseBadArguments) {
  const ScopedHandle set = event(false, true);
  const ScopedHandle mutex = CreateMutexW(nullptr, FALSE, nullptr);
  std::vector<HANDLE> many(65, set);
  const auto error_of = [&](DWORD count, const HANDLE* handles, BOOL all) {
    EXPECT_EQ(WaitForMultipleObjects(count, handles, all, 0), WAIT_FAILED);
    return GetLastError();
  };
  EXPECT_EQ(error_of(0, many.data(), FALSE), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(error_of(65, many.data(), FALSE), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(error_of(2, many.data(), TRUE), ERROR_NOT_SUPPORTED);
  many[1] = mutex;
  EXPECT_EQ(error_of(2, many.data(), FALSE), ERROR_INVALID_HANDLE);
  many[1] = set;
  EXPECT_EQ(WaitForMultipleObjects(64, many.data(), FALSE, 0), WAIT_OBJECT_0)
      << "nothing was consumed before";
}

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

using Handles = Win32Test;

TEST_F(Handles, EveryFunctionFailsWith6ForBadHandlesAndOtherKinds) {
  ScopedHandle gone = CreateMutexW(nullptr, FALSE, nullptr);
  const HANDLE closed = gone;
  EXPECT_EQ(poll(closed), WAIT_OBJECT_0);
  gone.close();  // while owned
  const auto beside = [&](uintptr_t distance) {
    return reinterpret_cast<HANDLE>(reinterpret_cast<uintptr_t>(closed) + distance);
  };
  const auto one_above_32_bits = static_cast<uintptr_t>(1ull << 32);  // 0 in a 32-bit program
  for (const HANDLE bad : {HANDLE{nullptr}, INVALID_HANDLE_VALUE, closed, beside(1), beside(1u << 30),
                           beside(1u << 31), beside(one_above_32_bits)}) {
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
