// CAMThread's command protocol, and the thread and its events without the system's means.
#include <gtest/gtest.h>
#include <streams.h>

#include <thread>
#include <vector>

#include "tests/platform/fault_at.h"

using zdr::platform::FaultPoint;

namespace {

constexpr DWORD kExit = 999;

// Answers every request with twice its parameter, after it has looked at it in every way there is.
class Doubler : public CAMThread {
 public:
  explicit Doubler(HRESULT* phr = nullptr) : CAMThread(phr) {}
  ~Doubler() override { stop(); }

  void stop() {
    if (!ThreadExists()) return;
    CallWorker(kExit);
    Close();
  }

  HRESULT apartment_again = S_OK;     // of a second initialisation in the worker's own model
  HRESULT apartment_other = S_OK;     // and in the other one
  bool pending_until_replied = true;  // a request stays visible however often it is looked at
  bool nothing_after_reply = true;

 protected:
  DWORD ThreadProc() override {
    apartment_again = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    apartment_other = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    CoUninitialize();
    for (;;) {
      const DWORD request = GetRequest();
      DWORD seen = 0;
      pending_until_replied = pending_until_replied && GetRequest() == request && CheckRequest(&seen) &&
                              seen == request && CheckRequest(nullptr) && GetRequestParam() == request;
      if (request == kExit) {
        // Nobody can send before this reply, so the request is gone once it is given.
        Reply(0);
        DWORD untouched = 77;
        nothing_after_reply = !CheckRequest(&untouched) && untouched == 77;
        return 5;
      }
      Reply(request * 2);
    }
  }
};

TEST(WorkerThread, AnswersEachCallerWithItsReply) {
  Doubler worker;
  EXPECT_FALSE(worker.ThreadExists());
  EXPECT_EQ(worker.CallWorker(1), static_cast<DWORD>(E_FAIL));
  for (int round = 0; round < 2; ++round) {
    ASSERT_TRUE(worker.Create());
    EXPECT_FALSE(worker.Create()) << "there is one already";
    std::vector<std::thread> callers;
    for (DWORD base = 1000; base <= 4000; base += 1000) {
      callers.emplace_back([&worker, base] {
        for (DWORD i = 0; i < 200; ++i) ASSERT_EQ(worker.CallWorker(base + i), (base + i) * 2);
      });
    }
    for (std::thread& caller : callers) caller.join();
    EXPECT_EQ(worker.CallWorker(kExit), 0U);
    EXPECT_TRUE(worker.ThreadExists()) << "until it is closed";
    EXPECT_FALSE(worker.Create());
    worker.Close();
    EXPECT_FALSE(worker.ThreadExists());
    worker.Close();
    EXPECT_EQ(worker.CallWorker(1), static_cast<DWORD>(E_FAIL));
  }
  EXPECT_TRUE(worker.pending_until_replied);
  EXPECT_TRUE(worker.nothing_after_reply);
  EXPECT_EQ(worker.apartment_again, S_FALSE);
  EXPECT_EQ(worker.apartment_other, RPC_E_CHANGED_MODE);
}

TEST(WorkerThread, TellsWhatTheSystemCannotGive) {
  for (const int nth : {1, 2}) {
    for (const HRESULT before : {S_OK, E_ACCESSDENIED}) {
      const FaultAt fault_of_event(FaultPoint::kEventCreate, nth);
      HRESULT hr = before;
      const Doubler worker(&hr);
      EXPECT_EQ(hr, before == S_OK ? E_OUTOFMEMORY : before) << "an earlier failure stays";
    }
  }
  Doubler worker;
  const FaultAt fault(FaultPoint::kThreadCreate, 1);
  EXPECT_FALSE(worker.Create());
  EXPECT_FALSE(worker.ThreadExists());
  EXPECT_TRUE(worker.Create());
}

}  // namespace
