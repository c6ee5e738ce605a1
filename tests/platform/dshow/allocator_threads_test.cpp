// CMemAllocator between threads: waiting for a buffer, decommit under the waiters, and a long mixed run.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <random>
#include <thread>
#include <vector>

#include "tests/platform/dshow/allocator_double.h"

using zdr::com::ComPtr;

namespace {

// Threads that each ask once for a buffer and keep what they get until the end.
class Askers {
 public:
  Askers(WatchedAllocator& allocator, int count) : results_(static_cast<std::size_t>(count), E_PENDING) {
    for (std::size_t i = 0; i < results_.size(); ++i) {
      threads_.emplace_back([this, &allocator, i] {
        IMediaSample* sample = nullptr;
        results_[i] = allocator.GetBuffer(&sample, nullptr, nullptr, 0);
        if (sample != nullptr) sample->Release();
      });
    }
  }

  std::vector<HRESULT> results() {
    for (std::thread& thread : threads_) thread.join();
    return results_;
  }

 private:
  std::vector<HRESULT> results_;
  std::vector<std::thread> threads_;
};

TEST(AllocatorThreads, DecommitSendsEveryWaiterAway) {
  for (const bool commit_again : {false, true}) {
    auto allocator = make_committed(1, 10);
    auto held = take(*allocator.get());
    Askers askers(*allocator.get(), 4);
    allocator->wait_for_waiters(4);
    EXPECT_EQ(allocator->Decommit(), S_OK);
    if (commit_again) {
      EXPECT_EQ(allocator->Commit(), S_OK);
    }
    EXPECT_EQ(askers.results(), std::vector<HRESULT>(4, VFW_E_NOT_COMMITTED)) << commit_again;
    held.reset();
    allocator->Decommit();
    allocator.reset();
    EXPECT_EQ(CBaseObject::ObjectsActive(), 0);
  }
}

TEST(AllocatorThreads, AReturnedBufferGoesToTheOneWhoWaits) {
  auto allocator = make_committed(1, 10);
  auto held = take(*allocator.get());
  Askers asker(*allocator.get(), 1);
  allocator->wait_for_waiters(1);
  held.reset();
  EXPECT_EQ(asker.results(), std::vector<HRESULT>{S_OK});
  allocator->Decommit();
}

// Takes, marks, checks and returns buffers until told to stop; a buffer in two hands would show two marks.
void use_buffers(WatchedAllocator& allocator, BYTE mark, const std::atomic<bool>& stop,
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
    // Never all at once, so that the threads cannot starve one another for good.
    while (!held.empty() && (held.size() > 1 || !sample)) {
      const BYTE* data = pointer_of(*held.back().get());
      for (int i = 0; i < 64; ++i) ASSERT_EQ(data[i], mark);
      ASSERT_EQ(held.back()->GetActualDataLength(), mark);
      held.pop_back();
    }
  }
}

TEST(AllocatorThreads, NoBufferIsInTwoHandsWhateverCommitsComeBetween) {
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
  allocator->Decommit();  // frees those that wait
  for (std::thread& thread : threads) thread.join();
  LONG free_buffers = 0;
  allocator->GetFreeCount(&free_buffers);
  EXPECT_EQ(free_buffers, 5);
  allocator.reset();
  EXPECT_EQ(CBaseObject::ObjectsActive(), 0);
}

// Whoever returns the last buffer after everybody else has let go destroys the allocator.
TEST(AllocatorThreads, LastReturnEndsTheAllocator) {
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
