// Many threads on few objects: no signal is lost or doubled, no mutex has two owners, nobody starves. These
// are the tests that the thread sanitizer is for.
#include <atomic>
#include <numeric>
#include <random>
#include <thread>
#include <vector>

#include "tests/platform/win32/win32_test_support.h"

namespace zdr::platform::test {

namespace {

using WaitStressTest = Win32Test;

void run_threads(int count, const std::function<void(int)>& body) {
  std::vector<std::thread> threads;
  for (int i = 0; i < count; ++i) threads.emplace_back(body, i);
  for (std::thread& thread : threads) thread.join();
}

// A token goes round: whoever takes it from the event alone may touch the plain counter.
TEST_F(WaitStressTest, AnAutoResetEventHandsItsSignalToOneWaiter) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 5'000;
  for (const LPCWSTR name : {LPCWSTR{nullptr}, LPCWSTR{u"WaitStressToken"}}) {
    const ScopedHandle token = CreateEventW(nullptr, FALSE, TRUE, name);
    int counter = 0;
    run_threads(kThreads, [&](int) {
      for (int i = 0; i < kRounds; ++i) {
        ASSERT_EQ(WaitForSingleObject(token, INFINITE), WAIT_OBJECT_0);
        ++counter;
        ASSERT_TRUE(SetEvent(token));
      }
    });
    EXPECT_EQ(counter, kThreads * kRounds);
  }
}

TEST_F(WaitStressTest, SemaphoreCountsAreNeitherLostNorDoubled) {
  for (const LPCWSTR name : {LPCWSTR{nullptr}, LPCWSTR{u"WaitStressSemaphore"}}) {
    const ScopedHandle items = CreateSemaphoreW(nullptr, 0, 1'000'000, name);
    constexpr LONG kItems = 6'000;
    std::atomic<LONG> taken{0};
    run_threads(5, [&](int index) {
      if (index == 0) {
        for (LONG i = 0; i < kItems; i += 3) ASSERT_TRUE(ReleaseSemaphore(items, 3, nullptr));
        return;
      }
      for (LONG i = 0; i < kItems / 4; ++i, ++taken) {
        ASSERT_EQ(WaitForSingleObject(items, i % 7 == 0 ? 60'000 : INFINITE), WAIT_OBJECT_0);
      }
    });
    EXPECT_EQ(taken, kItems);
    EXPECT_EQ(WaitForSingleObject(items, 0), WAIT_TIMEOUT);
  }
}

// Plain counters under mutexes, with recursion, time-outs and waits for two mutexes mixed in.
TEST_F(WaitStressTest, AMutexHasOneOwner) {
  const ScopedHandle mutexes[2] = {CreateMutexW(nullptr, FALSE, nullptr),
                                   CreateMutexW(nullptr, FALSE, nullptr)};
  const HANDLE both[] = {mutexes[0], mutexes[1]};
  int counters[2] = {0, 0};
  std::atomic<int> expected[2] = {0, 0};
  run_threads(4, [&](int seed) {
    std::mt19937 random(static_cast<unsigned>(seed));
    for (int i = 0; i < 20'000; ++i) {
      const auto which = random() % 2;
      if (random() % 20 == 0) {
        ASSERT_EQ(WaitForMultipleObjects(2, both, TRUE, INFINITE), WAIT_OBJECT_0);
        for (int k : {0, 1}) ++counters[k], ++expected[k], ReleaseMutex(both[k]);
        continue;
      }
      const DWORD timeout = random() % 10 == 0 ? 0 : random() % 10 == 1 ? 1 : INFINITE;
      const DWORD result = WaitForSingleObject(both[which], timeout);
      if (result == WAIT_TIMEOUT && timeout != INFINITE) continue;
      ASSERT_EQ(result, WAIT_OBJECT_0);
      ASSERT_EQ(WaitForSingleObject(both[which], 0), WAIT_OBJECT_0);
      ++counters[which], ++expected[which];
      ASSERT_TRUE(ReleaseMutex(both[which]) && ReleaseMutex(both[which]));
    }
  });
  for (int k : {0, 1}) EXPECT_EQ(counters[k], expected[k]);
}

// A thread that takes and releases without pause must let a waiter in.
TEST_F(WaitStressTest, ABusyOwnerDoesNotStarveAWaiter) {
  const ScopedHandle mutex = CreateMutexW(nullptr, FALSE, nullptr);
  std::atomic<bool> done{false};
  std::thread busy([&] {
    while (!done) {
      WaitForSingleObject(mutex, INFINITE);
      ReleaseMutex(mutex);
    }
  });
  for (int i = 0; i < 200; ++i) {
    ASSERT_EQ(WaitForSingleObject(mutex, 60'000), WAIT_OBJECT_0);
    ASSERT_TRUE(ReleaseMutex(mutex));
  }
  done = true;
  busy.join();
}

// Local and named objects in one wait: each signal is taken once, whichever way the waiters watch.
TEST_F(WaitStressTest, MixedWaitsTakeEachSignalOnce) {
  const ScopedHandle local = CreateSemaphoreW(nullptr, 0, 1'000'000, nullptr);
  const ScopedHandle named = CreateSemaphoreW(nullptr, 0, 1'000'000, u"MixedWaits");
  const HANDLE both[] = {local, named};
  constexpr LONG kEach = 1'500;
  std::atomic<LONG> taken[2] = {0, 0};
  run_threads(4, [&](int index) {
    if (index < 2) {
      for (LONG i = 0; i < kEach; ++i) ReleaseSemaphore(both[index], 1, nullptr);
      return;
    }
    const bool wait_all = index == 3;
    for (LONG i = 0; i < (wait_all ? kEach / 3 : kEach * 2 / 3); ++i) {
      const DWORD result = WaitForMultipleObjects(2, both, wait_all, INFINITE);
      ASSERT_LT(result, wait_all ? 1u : 2u);
      ++taken[result];
      if (wait_all) ++taken[1];
    }
  });
  // Together the two waiters never want more of one object than there is; what is left is still there.
  LONG left[2] = {0, 0};
  for (int k : {0, 1}) {
    while (WaitForSingleObject(both[k], 0) == WAIT_OBJECT_0) ++left[k];
    EXPECT_EQ(taken[k] + left[k], kEach) << k;
  }
}

}  // namespace

}  // namespace zdr::platform::test
