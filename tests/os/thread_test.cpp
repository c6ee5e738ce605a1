// Mutexes, and the thread facility with its table of slots.
#include <gtest/gtest.h>
#include <windows.h>

#include <atomic>
#include <thread>
#include <vector>

#include "fault_injection.h"
#include "os/mutex_lock.h"

namespace zdr::test {
namespace {

TEST(Mutex, IsRecursiveAndOwned) {
  const os::OwnedMutex mutex(OS_MutexCreate());
  EXPECT_EQ(OS_MutexUnlock(mutex.get()), FMGR_ERR_GENERIC);
  EXPECT_EQ(OS_MutexLock(mutex.get()), FMGR_OK);
  EXPECT_EQ(OS_MutexLock(mutex.get()), FMGR_OK);
  EXPECT_EQ(OS_MutexUnlock(mutex.get()), FMGR_OK);
  std::thread([&] { EXPECT_EQ(OS_MutexUnlock(mutex.get()), FMGR_ERR_GENERIC); }).join();
  EXPECT_EQ(OS_MutexUnlock(mutex.get()), FMGR_OK);
}

TEST(Mutex, KeptAnAbandonedOneIsLockedLikeAnyOther) {
  const os::OwnedMutex mutex(OS_MutexCreate());
  std::thread([&] { EXPECT_EQ(OS_MutexLock(mutex.get()), FMGR_OK); }).join();
  EXPECT_EQ(OS_MutexLock(mutex.get()), FMGR_OK);
  EXPECT_EQ(OS_MutexUnlock(mutex.get()), FMGR_OK);
}

constexpr size_t kSlots = 32;

uint32_t count_up(void* count) {
  ++*static_cast<std::atomic<size_t>*>(count);
  return 0;
}

class Threads : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(OS_ThreadInit(), FMGR_OK); }
  void TearDown() override {
    platform::set_fault_hook(nullptr, nullptr);
    EXPECT_EQ(OS_ThreadShutdown(), FMGR_OK);
    EXPECT_EQ(OS_ThreadCreate(&count_up, &count_, 0, 0), nullptr);
  }

  static void finish(HANDLE thread) {
    EXPECT_EQ(WaitForSingleObject(thread, INFINITE), DWORD{WAIT_OBJECT_0});
    CloseHandle(thread);
  }

  std::atomic<size_t> count_ = 0;
};

// While the system creates a thread, its slot is taken: each creation of this chain starts inside the one
// before.
TEST_F(Threads, SlotIsTakenUntilItsThreadRuns) {
  static size_t creations;
  creations = 0;
  platform::set_fault_hook(
      [](platform::FaultPoint, void* count) {
        ++creations;
        EXPECT_EQ(OS_ThreadCreate(&count_up, count, 0, 0), nullptr);
        return true;
      },
      &count_);
  EXPECT_EQ(OS_ThreadCreate(&count_up, &count_, 0, 0), nullptr);
  EXPECT_EQ(creations, kSlots) << "the next one finds no free slot";
  platform::set_fault_hook(nullptr, nullptr);
  std::vector<HANDLE> threads;
  while (threads.size() < 2 * kSlots) {
    const HANDLE thread = OS_ThreadCreate(&count_up, &count_, 0, 0);
    if (thread != nullptr) threads.push_back(thread);
  }
  for (const HANDLE thread : threads) finish(thread);
  EXPECT_EQ(count_, 2 * kSlots) << "failed creations and running threads free their slots";
}

TEST_F(Threads, KeptPriorityStatusIsReversed) {
  const HANDLE thread = OS_ThreadCreate(&count_up, &count_, 0, 0);
  EXPECT_EQ(OS_ThreadSetPriority(thread, THREAD_PRIORITY_HIGHEST), -1);
  EXPECT_EQ(OS_ThreadSetPriority(nullptr, THREAD_PRIORITY_HIGHEST), 0);
  finish(thread);
}

}  // namespace
}  // namespace zdr::test
