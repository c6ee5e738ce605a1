// Mutexes, and the thread facility with its table of slots.
#include <gtest/gtest.h>
#include <windows.h>

#include <atomic>
#include <thread>
#include <vector>

#include "os/mutex_lock.h"
#include "tests/platform/fault_at.h"

namespace zdr::test {
namespace {

TEST(Mutex, KeptAnAbandonedOneIsLockedLikeAnyOther) {
  const os::OwnedMutex mutex(OS_MutexCreate());
  EXPECT_EQ(OS_MutexUnlock(mutex.get()), FMGR_ERR_GENERIC);
  std::thread([&] { EXPECT_EQ(OS_MutexLock(mutex.get()), FMGR_OK); }).join();
  EXPECT_EQ(OS_MutexLock(mutex.get()), FMGR_OK);
  EXPECT_EQ(OS_MutexLock(mutex.get()), FMGR_OK) << "recursive";
  EXPECT_EQ(OS_MutexUnlock(mutex.get()), FMGR_OK);
  std::thread([&] { EXPECT_EQ(OS_MutexUnlock(mutex.get()), FMGR_ERR_GENERIC); }).join();
  EXPECT_EQ(OS_MutexUnlock(mutex.get()), FMGR_OK);
}

uint32_t count_up(void* count) {
  ++*static_cast<std::atomic<size_t>*>(count);
  return 0;
}

// While the system creates a thread, its slot is taken: each creation of the chain below starts inside the
// one before.
TEST(Threads, KeptPriorityStatusIsReversedAndASlotIsTakenUntilItsThreadRuns) {
  constexpr size_t kSlots = 32;
  static size_t creations;
  creations = 0;
  std::atomic<size_t> count = 0;
  EXPECT_EQ(OS_ThreadCreate(&count_up, &count, 0, 0), nullptr) << "before the table exists";
  ASSERT_EQ(OS_ThreadInit(), FMGR_OK);
  set_fault_hook(
      [](platform::FaultPoint, void* counter) {
        ++creations;
        EXPECT_EQ(OS_ThreadCreate(&count_up, counter, 0, 0), nullptr);
        return true;
      },
      &count);
  EXPECT_EQ(OS_ThreadCreate(&count_up, &count, 0, 0), nullptr);
  set_fault_hook(nullptr, nullptr);
  EXPECT_EQ(creations, kSlots) << "the next one finds no free slot";
  std::vector<HANDLE> threads;
  while (threads.size() < 2 * kSlots) {
    const HANDLE thread = OS_ThreadCreate(&count_up, &count, 0, 0);
    if (thread != nullptr) threads.push_back(thread);
  }
  EXPECT_EQ(OS_ThreadSetPriority(threads[0], THREAD_PRIORITY_HIGHEST), -1);
  EXPECT_EQ(OS_ThreadSetPriority(nullptr, THREAD_PRIORITY_HIGHEST), 0);
  for (const HANDLE thread : threads) {
    EXPECT_EQ(WaitForSingleObject(thread, INFINITE), DWORD{WAIT_OBJECT_0});
    CloseHandle(thread);
  }
  EXPECT_EQ(count, 2 * kSlots) << "failed creations and running threads free their slots";
  EXPECT_EQ(OS_ThreadShutdown(), FMGR_OK);
  EXPECT_EQ(OS_ThreadCreate(&count_up, &count, 0, 0), nullptr);
}

}  // namespace
}  // namespace zdr::test
