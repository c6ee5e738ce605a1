// Events, mutexes, semaphores and waits on several objects within one process.
#include <atomic>
#include <thread>
#include <vector>

#include "tests/platform/win32/win32_test_support.h"

namespace zdr::platform::test {

namespace {

using LocalWaitsTest = Win32Test;

ScopedHandle event(bool manual, bool set) {
  return CreateEventW(nullptr, manual, set, nullptr);
}
ScopedHandle mutex(bool owned = false) {
  return CreateMutexW(nullptr, owned, nullptr);
}
ScopedHandle semaphore(LONG initial, LONG maximum) {
  return CreateSemaphoreW(nullptr, initial, maximum, nullptr);
}

DWORD poll(HANDLE handle) {
  return WaitForSingleObject(handle, 0);
}

// The result of a poll on another thread, for mutexes.
DWORD poll_elsewhere(HANDLE handle) {
  DWORD result = WAIT_FAILED;
  std::thread([&] {
    result = poll(handle);
    if (result == WAIT_OBJECT_0) ReleaseMutex(handle);
  }).join();
  return result;
}

TEST_F(LocalWaitsTest, EventsAreConsumedByTheirKind) {
  for (const bool manual : {false, true}) {
    const ScopedHandle e = event(manual, true);
    EXPECT_EQ(GetLastError(), NO_ERROR) << "created";
    SetLastError(kUntouched);
    EXPECT_EQ(poll(e), WAIT_OBJECT_0) << "initially set";
    EXPECT_TRUE(SetEvent(e) && SetEvent(e));
    EXPECT_EQ(poll(e), WAIT_OBJECT_0);
    EXPECT_EQ(poll(e), manual ? WAIT_OBJECT_0 : DWORD{WAIT_TIMEOUT}) << "setting twice is not counted";
    SetEvent(e);
    EXPECT_TRUE(ResetEvent(e));
    EXPECT_EQ(WaitForSingleObject(e, 5), WAIT_TIMEOUT);
    EXPECT_EQ(GetLastError(), kUntouched);
  }
}

// A thread that waits for the handle without limit; `sleeping` is true of it once it does.
class WaitingThread {
 public:
  explicit WaitingThread(HANDLE handle)
      : thread_([this, handle] {
          id_ = gettid();
          result_ = WaitForSingleObject(handle, INFINITE);
        }) {}
  void await_sleep() {
    while (id_ == 0) std::this_thread::yield();
    await_sleep_in_wait(id_);
  }
  DWORD join() {
    thread_.join();
    return result_;
  }

 private:
  std::atomic<pid_t> id_{0};
  DWORD result_ = WAIT_FAILED;
  std::thread thread_;
};

// Two signals of an automatic event, or a pulse of a manual one, release the two who slept then.
TEST_F(LocalWaitsTest, SignalsBackToBackReleaseWhoSleptThen) {
  for (int round = 0; round < 40; ++round) {
    const bool manual = round % 2 != 0;
    const ScopedHandle signal = CreateEventW(nullptr, manual, FALSE, round < 20 ? nullptr : u"BackToBack");
    WaitingThread first(signal);
    WaitingThread second(signal);
    first.await_sleep();
    second.await_sleep();
    SetEvent(signal);
    manual ? ResetEvent(signal) : SetEvent(signal);
    EXPECT_EQ(first.join(), WAIT_OBJECT_0);
    EXPECT_EQ(second.join(), WAIT_OBJECT_0);
    EXPECT_EQ(poll(signal), WAIT_TIMEOUT) << "nothing is left over";
  }
}

TEST_F(LocalWaitsTest, MutexesAreRecursiveAndKnowTheirOwner) {
  const ScopedHandle m = mutex(true);
  EXPECT_EQ(poll(m), WAIT_OBJECT_0);
  EXPECT_EQ(poll_elsewhere(m), WAIT_TIMEOUT);
  EXPECT_TRUE(ReleaseMutex(m));
  EXPECT_EQ(poll_elsewhere(m), WAIT_TIMEOUT) << "one release a wait";
  std::thread([&] { EXPECT_EQ(failure(ReleaseMutex(m)), ERROR_NOT_OWNER); }).join();
  EXPECT_TRUE(ReleaseMutex(m));
  EXPECT_EQ(poll_elsewhere(m), WAIT_OBJECT_0);
  EXPECT_EQ(failure(ReleaseMutex(m)), ERROR_NOT_OWNER);
}

TEST_F(LocalWaitsTest, AMutexClosedWhileOwnedIsGone) {
  ScopedHandle m = mutex(true);
  const HANDLE value = m;
  m.close();
  EXPECT_EQ(failure(ReleaseMutex(value)), ERROR_INVALID_HANDLE);
}

TEST_F(LocalWaitsTest, AbandonmentIsToldOnceAndGivesOwnership) {
  const ScopedHandle idle = mutex();
  const ScopedHandle awaited = mutex();
  const ScopedHandle taken = event(true, false);
  const ScopedHandle may_end = event(true, false);
  std::thread owner([&] {
    EXPECT_EQ(poll(idle), WAIT_OBJECT_0);
    EXPECT_EQ(poll(idle), WAIT_OBJECT_0);
    EXPECT_EQ(poll(awaited), WAIT_OBJECT_0);
    SetEvent(taken);
    WaitForSingleObject(may_end, INFINITE);
  });
  WaitForSingleObject(taken, INFINITE);
  EXPECT_EQ(poll(awaited), WAIT_TIMEOUT);
  SetEvent(may_end);
  EXPECT_EQ(WaitForSingleObject(awaited, INFINITE), WAIT_ABANDONED);
  owner.join();
  EXPECT_EQ(poll_elsewhere(awaited), WAIT_TIMEOUT) << "owned here now";
  ResetEvent(taken);
  const HANDLE both[] = {taken, idle};
  EXPECT_EQ(WaitForMultipleObjects(2, both, FALSE, 0), WAIT_ABANDONED_0 + 1);
  for (const HANDLE m : {static_cast<HANDLE>(awaited), static_cast<HANDLE>(idle)}) {
    EXPECT_TRUE(ReleaseMutex(m));
    EXPECT_FALSE(ReleaseMutex(m)) << "the dead owner's count is gone";
    EXPECT_EQ(poll(m), WAIT_OBJECT_0) << "ordinary again";
    EXPECT_TRUE(ReleaseMutex(m));
  }
}

TEST_F(LocalWaitsTest, SemaphoresCountWithinTheirMaximum) {
  const ScopedHandle s = semaphore(1, 3);
  LONG previous = 77;
  EXPECT_TRUE(ReleaseSemaphore(s, 2, &previous) && previous == 1);
  previous = 77;
  EXPECT_EQ(failure(ReleaseSemaphore(s, 1, &previous)), ERROR_TOO_MANY_POSTS);
  EXPECT_EQ(previous, 77);
  EXPECT_FALSE(ReleaseSemaphore(s, INT32_MAX, nullptr));
  EXPECT_EQ(failure(ReleaseSemaphore(s, 0, nullptr)), ERROR_INVALID_PARAMETER);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(poll(s), WAIT_OBJECT_0);
  EXPECT_EQ(poll(s), WAIT_TIMEOUT);
  for (const auto& [initial, maximum] : {std::pair{-1, 1}, {2, 1}, {0, 0}}) {
    EXPECT_EQ(failure(CreateSemaphoreW(nullptr, initial, maximum, nullptr)), ERROR_INVALID_PARAMETER);
  }
}

TEST_F(LocalWaitsTest, WaitingForAnyTakesTheLowestReadyOne) {
  const ScopedHandle a = event(false, false);
  const ScopedHandle b = semaphore(1, 1);
  const ScopedHandle c = event(false, true);
  const HANDLE all[] = {a, b, c};
  EXPECT_EQ(WaitForMultipleObjects(3, all, FALSE, 0), WAIT_OBJECT_0 + 1);
  EXPECT_EQ(WaitForMultipleObjects(3, all, FALSE, INFINITE), WAIT_OBJECT_0 + 2);
  EXPECT_EQ(WaitForMultipleObjects(3, all, FALSE, 5), WAIT_TIMEOUT);
  std::thread setter([&] { SetEvent(a); });
  EXPECT_EQ(WaitForMultipleObjects(3, all, FALSE, INFINITE), WAIT_OBJECT_0);
  setter.join();
}

TEST_F(LocalWaitsTest, WaitingForAllTakesAllOrNothing) {
  const ScopedHandle a = event(false, true);
  const ScopedHandle b = event(false, false);
  const ScopedHandle m = mutex();
  const HANDLE all[] = {a, m, b};
  EXPECT_EQ(WaitForMultipleObjects(3, all, TRUE, 5), WAIT_TIMEOUT);
  EXPECT_EQ(poll(a), WAIT_OBJECT_0) << "was not consumed";
  EXPECT_EQ(poll_elsewhere(m), WAIT_OBJECT_0) << "was not taken";
  std::thread setter([&] {
    EXPECT_EQ(poll(m), WAIT_OBJECT_0);
    SetEvent(b);
    SetEvent(a);
  });
  EXPECT_EQ(WaitForMultipleObjects(3, all, TRUE, INFINITE), WAIT_ABANDONED_0) << "by the end of the setter";
  setter.join();
  EXPECT_EQ(poll(a), WAIT_TIMEOUT);
  EXPECT_EQ(poll(b), WAIT_TIMEOUT);
  EXPECT_EQ(poll_elsewhere(m), WAIT_TIMEOUT);
  EXPECT_TRUE(ReleaseMutex(m));
}

TEST_F(LocalWaitsTest, MultipleWaitsRefuseBadArguments) {
  const ScopedHandle a = event(false, true);
  std::vector<HANDLE> many(65, a);
  const HANDLE twice[] = {a, a};
  const HANDLE with_bad[] = {a, nullptr};
  const struct {
    DWORD count;
    const HANDLE* handles;
    BOOL all;
    DWORD error;
  } rows[] = {{0, twice, FALSE, ERROR_INVALID_PARAMETER},
              {65, many.data(), FALSE, ERROR_INVALID_PARAMETER},
              {2, twice, TRUE, ERROR_INVALID_PARAMETER},
              {2, with_bad, FALSE, ERROR_INVALID_HANDLE}};
  for (const auto& row : rows) {
    EXPECT_EQ(WaitForMultipleObjects(row.count, row.handles, row.all, 0), WAIT_FAILED);
    EXPECT_EQ(GetLastError(), row.error);
  }
  EXPECT_EQ(poll(a), WAIT_OBJECT_0) << "nothing was consumed";
}

}  // namespace

}  // namespace zdr::platform::test
