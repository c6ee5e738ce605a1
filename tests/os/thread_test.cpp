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

uint32_t count_call(void* sum) {
  return 100 + static_cast<std::atomic<uint32_t>*>(sum)->fetch_add(1);
}

class Threads : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(OS_ThreadInit(), FMGR_OK); }
  void TearDown() override {
    EXPECT_EQ(OS_ThreadShutdown(), FMGR_OK);
    EXPECT_EQ(OS_ThreadCreate(&count_call, &sum_, 0, 0), nullptr);
  }

  static DWORD finish(HANDLE thread) {
    EXPECT_EQ(WaitForSingleObject(thread, INFINITE), DWORD{WAIT_OBJECT_0});
    DWORD code = 0;
    EXPECT_TRUE(GetExitCodeThread(thread, &code));
    CloseHandle(thread);
    return code;
  }

  std::atomic<uint32_t> sum_ = 0;
};

TEST_F(Threads, KeptPriorityStatusIsReversedAndASlotIsTakenUntilItsThreadRuns) {
  std::vector<HANDLE> waiting;
  for (size_t i = 0; i < kSlots; ++i) {
    waiting.push_back(OS_ThreadCreate(&count_call, &sum_, 0, CREATE_SUSPENDED));
    EXPECT_EQ(OS_ThreadSetPriority(waiting.back(), THREAD_PRIORITY_HIGHEST), -1);
  }
  EXPECT_EQ(OS_ThreadSetPriority(nullptr, THREAD_PRIORITY_HIGHEST), 0);
  EXPECT_EQ(OS_ThreadCreate(&count_call, &sum_, 0, 0), nullptr) << "no slot is free";
  for (const HANDLE thread : waiting) ResumeThread(thread);
  std::vector<bool> returned(kSlots);
  for (const HANDLE thread : waiting) returned.at(finish(thread) - 100) = true;
  EXPECT_EQ(returned, std::vector<bool>(kSlots, true));
  EXPECT_EQ(finish(OS_ThreadCreate(&count_call, &sum_, 0, 0)), 100 + kSlots);
}

TEST_F(Threads, AFailedCreationFreesItsSlot) {
  platform::set_fault_hook([](platform::FaultPoint, void*) { return true; }, nullptr);
  for (size_t i = 0; i < 2 * kSlots; ++i) EXPECT_EQ(OS_ThreadCreate(&count_call, &sum_, 0, 0), nullptr);
  platform::set_fault_hook(nullptr, nullptr);
  EXPECT_EQ(finish(OS_ThreadCreate(&count_call, &sum_, 0, 0)), 100u);
}

}  // namespace
}  // namespace zdr::test
