// CMemAllocator between threads: the end of a wait, a long mixed run with decommits, the last release.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <future>
#include <random>
#include <thread>
#include <vector>

#include "tests/platform/dshow/allocator_double.h"

namespace zdr::test {
namespace {

using com::ComPtr;

TEST(AllocatorThreads, ReturnedBufferOrDecommitEndsAWait) {
  enum { kReturn, kDecommit, kDecommitAndCommit };
  for (const int end : {kReturn, kDecommit, kDecommitAndCommit}) {
    auto allocator = make_committed(1, 10);
    auto held = take(*allocator.get());
    auto asker = std::async(std::launch::async, [&] {
      ComPtr<IMediaSample> sample;
      return allocator->GetBuffer(sample.out(), nullptr, nullptr, 0);
    });
    allocator->wait_for_waiters(1);
    {
      const CAutoLock lock(allocator.get());  // the waiter sees only the result
      if (end != kReturn) allocator->Decommit();
      if (end == kDecommitAndCommit) allocator->Commit();
      held.reset();
    }
    EXPECT_EQ(asker.get(), end == kReturn ? S_OK : VFW_E_NOT_COMMITTED) << end;
    allocator->Decommit();
    allocator.reset();
    EXPECT_EQ(CBaseObject::ObjectsActive(), 0);
  }
}

// Takes, marks, checks and returns buffers until `stop` is set. A buffer that two threads hold would show two
// marks.
void use_buffers(CountedAllocator& allocator, BYTE mark, const std::atomic<bool>& stop,
                 std::atomic<int>& uses) {
  std::mt19937 random(mark);
  std::vector<ComPtr<IMediaSample>> held;
  while (!stop) {
    ComPtr<IMediaSample> sample = take(allocator, random() % 3 == 0 ? DWORD{0} : DWORD{AM_GBF_NOWAIT});
    if (sample) {
      std::memset(pointer_of(*sample.get()), mark, 64);
      sample->SetActualDataLength(static_cast<LONG>(mark));
      held.push_back(std::move(sample));
      ++uses;
    }
    // Never holds all buffers, so that the threads cannot starve each other permanently.
    while (!held.empty() && (held.size() > 1 || !sample)) {
      const BYTE* data = pointer_of(*held.back().get());
      for (int i = 0; i < 64; ++i) ASSERT_EQ(data[i], mark);
      ASSERT_EQ(held.back()->GetActualDataLength(), mark);
      held.pop_back();
    }
  }
}

TEST(AllocatorThreads, NoBufferIsLentTwiceWhileCommitsComeAndGo) {
  constexpr int kUses = 20000;
  auto allocator = make_committed(5, 64);
  std::atomic<bool> stop{false};
  std::atomic<int> uses{0};
  std::vector<std::thread> threads;
  for (BYTE mark = 1; mark <= 3; ++mark) {
    threads.emplace_back([&, mark] { use_buffers(*allocator.get(), mark, stop, uses); });
  }
  while (uses < kUses) {
    ASSERT_EQ(allocator->Decommit(), S_OK);
    ASSERT_EQ(allocator->Commit(), S_OK);
    std::this_thread::yield();
  }
  stop = true;
  allocator->Decommit();  // ends the waits
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(allocator->free_count(), 5);
  allocator.reset();
  EXPECT_EQ(CBaseObject::ObjectsActive(), 0);
}

TEST(AllocatorThreads, LastReturnDestroysTheAllocator) {
  for (int round = 0; round < 200; ++round) {
    auto allocator = make_committed(2, 16);
    auto first = take(*allocator.get());
    auto second = take(*allocator.get());
    std::thread one([&first] { first.reset(); });
    std::thread two([&second] { second.reset(); });
    allocator->Decommit();
    allocator.reset();
    one.join();
    two.join();
    ASSERT_EQ(CBaseObject::ObjectsActive(), 0);
  }
}

}  // namespace
}  // namespace zdr::test
