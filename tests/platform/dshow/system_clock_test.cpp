// The platform library's clock: it does not go back, and its alarms neither come early nor stay away.
#include <com_ptr.h>
#include <gtest/gtest.h>
#include <streams.h>

#include "tests/platform/fault_at.h"

using zdr::com::ComPtr;

namespace {

constexpr REFERENCE_TIME kMillisecond = UNITS / MILLISECONDS;

class SystemClock : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(CoCreateInstance(CLSID_SystemClock, nullptr, CLSCTX_INPROC_SERVER, IID_IReferenceClock,
                               clock_.out_void()),
              S_OK);
    semaphore_ = CreateSemaphoreW(nullptr, 0, 1000000, nullptr);
  }
  void TearDown() override { CloseHandle(semaphore_); }

  REFERENCE_TIME now() {
    REFERENCE_TIME time = 0;
    EXPECT_TRUE(SUCCEEDED(clock_->GetTime(&time)));
    return time;
  }
  static DWORD_PTR handle_of(const CAMEvent& event) {
    return reinterpret_cast<DWORD_PTR>(static_cast<HANDLE>(event));
  }
  DWORD_PTR semaphore() const { return reinterpret_cast<DWORD_PTR>(semaphore_); }

  ComPtr<IReferenceClock> clock_;
  CAMEvent event_;
  HANDLE semaphore_ = nullptr;
  DWORD_PTR cookie_ = 0;
};

TEST_F(SystemClock, NeverGoesBackAndTellsWhenItStands) {
  REFERENCE_TIME last = now();
  for (int i = 0; i < 10000; ++i) {
    REFERENCE_TIME time = 0;
    const HRESULT hr = clock_->GetTime(&time);
    ASSERT_GE(time, last);
    ASSERT_EQ(hr, time == last ? S_FALSE : S_OK);
    last = time;
  }
  EXPECT_EQ(clock_->GetTime(nullptr), E_POINTER);
}

TEST_F(SystemClock, AlarmComesAtItsTime) {
  CAMEvent past;
  const REFERENCE_TIME base = now();
  // The later alarm is set first: the worker must look again when an earlier one comes.
  DWORD_PTR later = 0;
  ASSERT_EQ(clock_->AdviseTime(base, 30 * kMillisecond, handle_of(event_), &later), S_OK);
  ASSERT_EQ(clock_->AdviseTime(base, -1, handle_of(past), &cookie_), S_OK);
  EXPECT_NE(cookie_, later);
  EXPECT_TRUE(past.Wait());
  EXPECT_TRUE(event_.Wait());
  EXPECT_GE(now(), base + 30 * kMillisecond);
  EXPECT_EQ(clock_->Unadvise(later), S_FALSE) << "it is over";
}

TEST_F(SystemClock, PeriodicAlarmMissesNoBeat) {
  const REFERENCE_TIME start = now() - 500 * kMillisecond;
  ASSERT_EQ(clock_->AdvisePeriodic(start, kMillisecond, semaphore(), &cookie_), S_OK);
  for (int beat = 0; beat < 510; ++beat) ASSERT_EQ(WaitForSingleObject(semaphore_, INFINITE), WAIT_OBJECT_0);
  EXPECT_GE(now(), start + 509 * kMillisecond);
  EXPECT_EQ(clock_->Unadvise(cookie_), S_OK);
  EXPECT_EQ(clock_->Unadvise(cookie_), S_FALSE);
  while (WaitForSingleObject(semaphore_, 0) == WAIT_OBJECT_0) {
  }
  EXPECT_EQ(WaitForSingleObject(semaphore_, 5), WAIT_TIMEOUT) << "still beating";
}

// Late beats find room for some of them only: those must not be lost with the others.
TEST_F(SystemClock, LateBeatsFillASmallSemaphore) {
  for (const LONG room : {1, 6, 9, 10}) {
    const HANDLE small = CreateSemaphoreW(nullptr, 0, room, nullptr);
    // Ten beats are due, and the next one comes when the machine has been up a tenth longer.
    const REFERENCE_TIME period = now() / 10;
    const REFERENCE_TIME start = now() - 9 * period - 1;
    ASSERT_EQ(clock_->AdvisePeriodic(start, period, reinterpret_cast<DWORD_PTR>(small), &cookie_), S_OK);
    DWORD_PTR later = 0;
    ASSERT_EQ(clock_->AdviseTime(start, 1, handle_of(event_), &later), S_OK);
    EXPECT_TRUE(event_.Wait()) << "alarms are set off in order";
    EXPECT_EQ(clock_->Unadvise(cookie_), S_OK);
    LONG beats = 0;
    while (WaitForSingleObject(small, 0) == WAIT_OBJECT_0) ++beats;
    EXPECT_EQ(beats, room);
    CloseHandle(small);
  }
}

TEST_F(SystemClock, RefusesTimesThatCannotCome) {
  const DWORD_PTR event = handle_of(event_);
  for (const auto& [base, offset] :
       {std::pair<LONGLONG, LONGLONG>{0, 0}, {10, -20}, {MAX_TIME, 0}, {MAX_TIME, MAX_TIME}}) {
    EXPECT_EQ(clock_->AdviseTime(base, offset, event, &cookie_), E_INVALIDARG) << base << ' ' << offset;
  }
  EXPECT_EQ(clock_->AdviseTime(1, 1, 0, &cookie_), E_INVALIDARG);
  EXPECT_EQ(clock_->AdvisePeriodic(1, 0, semaphore(), &cookie_), E_INVALIDARG);
  EXPECT_EQ(clock_->AdvisePeriodic(0, 1, semaphore(), &cookie_), E_INVALIDARG);
  const FaultAt fault(zdr::platform::FaultPoint::kThreadCreate, 1);
  EXPECT_EQ(clock_->AdviseTime(1, 1, event, &cookie_), E_OUTOFMEMORY);
}

TEST_F(SystemClock, EndsWithAlarmsPending) {
  ASSERT_EQ(clock_->AdviseTime(now(), 3600 * UNITS, handle_of(event_), &cookie_), S_OK);
  clock_.reset();
  EXPECT_FALSE(event_.Check());
}

}  // namespace
