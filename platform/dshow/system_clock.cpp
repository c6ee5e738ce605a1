// Time and alarms of the system clock.
#include "system_clock.h"

#include <algorithm>
#include <chrono>
#include <new>
#include <utility>

#include "nothrow_new.h"
#include "reftime.h"

namespace {

REFERENCE_TIME monotonic_time() noexcept {
  using ReferenceUnits = std::chrono::duration<REFERENCE_TIME, std::ratio<1, UNITS>>;
  const auto since_boot = std::chrono::steady_clock::now().time_since_epoch();
  return std::chrono::duration_cast<ReferenceUnits>(since_boot).count();
}

// Rounded up, so that nothing is set off before its time, and at most a second, which is well within a DWORD.
DWORD milliseconds_until(REFERENCE_TIME due, REFERENCE_TIME now) noexcept {
  constexpr REFERENCE_TIME kPerMillisecond = UNITS / MILLISECONDS;
  return static_cast<DWORD>(std::min(due - now + kPerMillisecond - 1, UNITS) / kPerMillisecond);
}

// Beats that the semaphore has no room for are lost, but never those that it has room for.
void release_beats(HANDLE semaphore, REFERENCE_TIME beats) noexcept {
  auto left = static_cast<LONG>(std::min<REFERENCE_TIME>(beats, INT32_MAX));
  for (LONG step = left; step > 0; step = std::min(step, left)) {
    if (ReleaseSemaphore(semaphore, step, nullptr)) {
      left -= step;
    } else {
      step /= 2;
    }
  }
}

}  // namespace

CSystemClock::CSystemClock(CObjectName name, IUnknown* outer, HRESULT* phr) noexcept
    : CUnknown(name, outer, phr), CAMThread(phr), alarms_changed_(phr) {}

CSystemClock::~CSystemClock() {
  {
    const CAutoLock lock(&lock_);
    ending_ = true;
  }
  alarms_changed_.Set();
  Close();
}

CUnknown* CSystemClock::CreateInstance(IUnknown* outer, HRESULT* phr) {
  return zdr::dshow::new_or_null<CSystemClock>(NAME("CSystemClock"), outer, phr);
}

HRESULT CSystemClock::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
  if (riid == IID_IReferenceClock) return GetInterface(static_cast<IReferenceClock*>(this), ppv);
  return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

HRESULT CSystemClock::GetTime(REFERENCE_TIME* time) {
  CheckPointer(time, E_POINTER);
  const CAutoLock lock(&lock_);
  *time = monotonic_time();
  return std::exchange(last_time_, *time) == *time ? S_FALSE : S_OK;
}

HRESULT CSystemClock::AdviseTime(REFERENCE_TIME base, REFERENCE_TIME stream, HEVENT event,
                                 DWORD_PTR* cookie) {
  REFERENCE_TIME due = 0;
  if (__builtin_add_overflow(base, stream, &due)) return E_INVALIDARG;
  return add_alarm(due, 0, event, cookie);
}

HRESULT CSystemClock::AdvisePeriodic(REFERENCE_TIME start, REFERENCE_TIME period, HSEMAPHORE semaphore,
                                     DWORD_PTR* cookie) {
  return period > 0 ? add_alarm(start, period, semaphore, cookie) : E_INVALIDARG;
}

HRESULT CSystemClock::add_alarm(REFERENCE_TIME due, REFERENCE_TIME period, DWORD_PTR object,
                                DWORD_PTR* cookie) {
  CheckPointer(cookie, E_POINTER);
  *cookie = 0;
  if (due <= 0 || due == MAX_TIME || object == 0) return E_INVALIDARG;
  {
    const CAutoLock lock(&lock_);
    if (!ThreadExists() && !Create()) return E_OUTOFMEMORY;
    if (!store_alarm(due, {last_cookie_ + 1, period, reinterpret_cast<HANDLE>(object)})) return E_OUTOFMEMORY;
    *cookie = ++last_cookie_;
  }
  alarms_changed_.Set();
  return S_OK;
}

bool CSystemClock::store_alarm(REFERENCE_TIME due, const Alarm& alarm) noexcept {
  try {
    alarms_.emplace(due, alarm);
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

HRESULT CSystemClock::Unadvise(DWORD_PTR cookie) {
  const CAutoLock lock(&lock_);
  const auto found = std::find_if(alarms_.begin(), alarms_.end(),
                                  [cookie](const auto& entry) { return entry.second.cookie == cookie; });
  if (found == alarms_.end()) return S_FALSE;
  alarms_.erase(found);
  return S_OK;
}

DWORD CSystemClock::set_off_alarms() {
  const REFERENCE_TIME now = monotonic_time();
  while (!alarms_.empty() && alarms_.begin()->first <= now) {
    // The node is used again for the next beat, which takes no memory.
    auto node = alarms_.extract(alarms_.begin());
    const Alarm& alarm = node.mapped();
    if (alarm.period == 0) {
      SetEvent(alarm.object);
      continue;
    }
    // All beats since the last visit at once: a short period may have many.
    const REFERENCE_TIME beats = (now - node.key()) / alarm.period + 1;
    release_beats(alarm.object, beats);
    const REFERENCE_TIME last_beat = node.key() + (beats - 1) * alarm.period;
    if (!__builtin_add_overflow(last_beat, alarm.period, &node.key())) alarms_.insert(std::move(node));
  }
  return alarms_.empty() ? INFINITE : milliseconds_until(alarms_.begin()->first, now);
}

DWORD CSystemClock::ThreadProc() {
  for (;;) {
    DWORD wait_ms = 0;
    {
      const CAutoLock lock(&lock_);
      if (ending_) return 0;
      wait_ms = set_off_alarms();
    }
    alarms_changed_.Wait(wait_ms);
  }
}
