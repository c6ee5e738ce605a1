// Many threads on few objects: no signal is lost or doubled, no mutex has two owners, no thread starves. The
// thread sanitizer checks the same tests for races.
#include <atomic>
#include <chrono>
#include <vector>

#include "tests/platform/win32/win32_test_support.h"

namespace zdr::test {

namespace {

// The event is a token that circulates: only the thread that takes it may change the plain counter.
TEST(WaitStress, AnAutoResetEventGivesItsSignalToOneWaiter) {
  constexpr int kRounds = 2'000;
  for (const LPCWSTR name : {LPCWSTR{nullptr}, LPCWSTR{u"WaitStressToken"}}) {
    for (const int count : {4, 100}) {
      const ScopedHandle token = CreateEventW(nullptr, FALSE, TRUE, name);
      int counter = 0;
      std::vector<std::jthread> threads;
      for (int thread = 0; thread < count; ++thread) {
        threads.emplace_back([&] {
          for (int i = 0; i < kRounds / count; ++i) {
            ASSERT_EQ(WaitForSingleObject(token, INFINITE), WAIT_OBJECT_0);
            ++counter;
            ASSERT_TRUE(SetEvent(token));
          }
        });
      }
      threads.clear();  // waits for them
      EXPECT_EQ(counter, kRounds);
    }
  }
}

// One thread waits for either event, the other for the second alone. The wake-up of the second event may
// reach the first thread, which takes the first event: then the other thread must be woken as well.
TEST(WaitStress, AWakeUpThatAnotherWaitReceivedIsPassedOn) {
  const ScopedHandle either[2] = {CreateEventW(nullptr, FALSE, FALSE, nullptr),
                                  CreateEventW(nullptr, FALSE, FALSE, nullptr)};
  const HANDLE both[] = {either[0], either[1]};
  for (int round = 0; round < 300; ++round) {
    std::atomic<pid_t> ids[2] = {0, 0};
    DWORD taken = WAIT_FAILED;
    std::thread first([&] {
      ids[0] = gettid();
      taken = WaitForMultipleObjects(2, both, FALSE, INFINITE);
    });
    std::thread second([&] {
      ids[1] = gettid();
      EXPECT_EQ(WaitForSingleObject(both[1], INFINITE), WAIT_OBJECT_0);
    });
    for (const auto& id : ids) {
      while (id == 0) std::this_thread::yield();
      await_sleep_in_wait(id);
    }
    SetEvent(both[0]);
    SetEvent(both[1]);
    first.join();
    if (taken == 1) SetEvent(both[1]);
    second.join();
    ResetEvent(both[0]);
  }
}

// The signal comes as the brief wait times out. A wait that reports a time-out has neither taken the signal
// nor withheld it from the other.
TEST(WaitStress, ASignalAtATimeOutReachesTheOtherWait) {
  using std::chrono::steady_clock;
  for (const LPCWSTR name : {LPCWSTR{nullptr}, LPCWSTR{u"WaitStressTimeOut"}}) {
    const ScopedHandle signal = CreateEventW(nullptr, FALSE, FALSE, name);
    for (int round = 0; round < 300 && !testing::Test::HasFailure(); ++round) {
      const auto set_at = steady_clock::now() + std::chrono::microseconds(1000 + round % 150);
      std::thread brief([&] {
        if (WaitForSingleObject(signal, 1) == WAIT_OBJECT_0) SetEvent(signal);
      });
      std::thread patient([&] { EXPECT_EQ(WaitForSingleObject(signal, 60'000), WAIT_OBJECT_0); });
      while (steady_clock::now() < set_at) std::this_thread::yield();
      SetEvent(signal);
      brief.join();
      patient.join();
      EXPECT_EQ(poll(signal), WAIT_TIMEOUT) << "taken once";
    }
  }
}

// Fails if the mutex is obtained only at the time-out: a sleeper that was never woken would find it free
// then.
void take_when_woken(HANDLE mutex) {
  const auto time_out = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  ASSERT_EQ(WaitForSingleObject(mutex, 30'000), WAIT_OBJECT_0);
  ASSERT_LT(std::chrono::steady_clock::now(), time_out) << "not woken";
}

// Each owner wakes the next waiter, even if it had to sleep itself, and after a wait that timed out.
TEST(WaitStress, EverySleeperOfAMutexIsWoken) {
  const ScopedHandle mutex = CreateMutexW(nullptr, FALSE, nullptr);
  ASSERT_EQ(poll(mutex), WAIT_OBJECT_0);
  std::atomic<pid_t> ids[3] = {0, 0, 0};
  std::vector<std::thread> sleepers;
  for (auto& id : ids) {
    sleepers.emplace_back([&] {
      id = gettid();
      take_when_woken(mutex);
      ReleaseMutex(mutex);
    });
    while (id == 0) std::this_thread::yield();
    await_sleep_in_wait(id);
  }
  std::thread([&] { EXPECT_EQ(WaitForSingleObject(mutex, 5), WAIT_TIMEOUT); }).join();
  EXPECT_EQ(poll(mutex), WAIT_OBJECT_0) << "again, while others sleep";
  EXPECT_TRUE(ReleaseMutex(mutex) && ReleaseMutex(mutex));
  for (std::thread& sleeper : sleepers) sleeper.join();
}

// A thread that takes and releases without pause lets in a waiter that fell asleep while it was the owner.
TEST(WaitStress, ABusyOwnerDoesNotStarveAWaiter) {
  const ScopedHandle mutex = CreateMutexW(nullptr, FALSE, nullptr);
  enum { kAlone, kAsked, kHeld, kDone };
  std::atomic<int> state{kAlone};
  std::thread busy([&, waiter = gettid()] {
    while (state != kDone) {
      WaitForSingleObject(mutex, 30'000);
      if (state == kAsked) {
        state = kHeld;
        await_sleep_in_wait(waiter);
      }
      ReleaseMutex(mutex);
    }
  });
  for (int i = 0; i < 200 && !HasFatalFailure(); ++i) {
    state = kAsked;
    while (state != kHeld) std::this_thread::yield();
    take_when_woken(mutex);
    ReleaseMutex(mutex);
  }
  state = kDone;
  busy.join();
}

}  // namespace

}  // namespace zdr::test
