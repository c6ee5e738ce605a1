// The reference clock of the platform library: the monotonic clock of the machine in 100 ns units, with
// alarms.
#pragma once

#include <map>

#include "combase.h"
#include "filter_interfaces.h"
#include "wxutil.h"

// Alarms are kept by their time and set off by a worker that exists from the first alarm on. All members are
// guarded by the clock's own lock; the worker holds it only to look for the next alarm.
class CSystemClock final : public CUnknown, public IReferenceClock, private CAMThread {
 public:
  CSystemClock(CObjectName name, IUnknown* outer, HRESULT* phr) noexcept;
  ~CSystemClock() override;

  // Creator for class tables.
  static CUnknown* CreateInstance(IUnknown* outer, HRESULT* phr);

  DECLARE_IUNKNOWN
  HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

  HRESULT GetTime(REFERENCE_TIME* time) override;
  // E_INVALIDARG for a time that is not positive or is the end of time, or for a period that is not positive.
  HRESULT AdviseTime(REFERENCE_TIME base, REFERENCE_TIME stream, HEVENT event, DWORD_PTR* cookie) override;
  HRESULT AdvisePeriodic(REFERENCE_TIME start, REFERENCE_TIME period, HSEMAPHORE semaphore,
                         DWORD_PTR* cookie) override;
  // S_FALSE for an alarm that is not set any more.
  HRESULT Unadvise(DWORD_PTR cookie) override;

 private:
  struct Alarm {
    DWORD_PTR cookie;
    REFERENCE_TIME period;  // 0: once, and the object is an event, else a semaphore
    HANDLE object;
  };

  HRESULT add_alarm(REFERENCE_TIME due, REFERENCE_TIME period, DWORD_PTR object, DWORD_PTR* cookie);
  bool store_alarm(REFERENCE_TIME due, const Alarm& alarm) noexcept;
  // Sets off what is due and returns how long to wait for the next alarm, in milliseconds.
  DWORD set_off_alarms();
  DWORD ThreadProc() override;

  CCritSec lock_;
  CAMEvent alarms_changed_;
  std::multimap<REFERENCE_TIME, Alarm> alarms_;
  DWORD_PTR last_cookie_ = 0;
  REFERENCE_TIME last_time_ = 0;
  bool ending_ = false;
};
