// CSourceSeeking: positions and rate under one lock, changes announced to the derived class outside of it.
#include "seeking.h"

#include <cstdint>

#include "uuids.h"

namespace {

// Far beyond any media, yet with room for sums.
constexpr REFERENCE_TIME kUnknownTime = INT64_MAX / 2;

bool is_media_time(const GUID* format) noexcept {
  return *format == TIME_FORMAT_MEDIA_TIME;
}

// Positions come from outside: a sum may leave the range and then wraps.
REFERENCE_TIME wrapping_sum(REFERENCE_TIME a, REFERENCE_TIME b) noexcept {
  return static_cast<REFERENCE_TIME>(static_cast<uint64_t>(a) + static_cast<uint64_t>(b));
}

HRESULT check_stop_flags(const LONGLONG* stop, DWORD flags) noexcept {
  if (flags == 0) return S_OK;
  CheckPointer(stop, E_POINTER);
  return (flags & ~DWORD{AM_SEEKING_PositioningBitsMask}) == 0 ? S_OK : E_INVALIDARG;
}

HRESULT check_current_flags(const LONGLONG* current, DWORD flags) noexcept {
  if (flags == 0) return S_OK;
  CheckPointer(current, E_POINTER);
  const DWORD positioning = flags & AM_SEEKING_PositioningBitsMask;
  const bool known =
      positioning == AM_SEEKING_AbsolutePositioning || positioning == AM_SEEKING_RelativePositioning;
  return known ? S_OK : E_INVALIDARG;
}

// The new value of a position; start is the start position after its own change.
REFERENCE_TIME moved(REFERENCE_TIME position, REFERENCE_TIME start, const LONGLONG* value,
                     DWORD positioning) {
  switch (positioning) {
    case AM_SEEKING_AbsolutePositioning:
      return *value;
    case AM_SEEKING_RelativePositioning:
      return wrapping_sum(position, *value);
    case AM_SEEKING_IncrementalPositioning:
      return wrapping_sum(start, *value);
    default:
      return position;
  }
}

}  // namespace

CSourceSeeking::CSourceSeeking(CObjectName name, IUnknown* outer, HRESULT* phr, CCritSec* lock)
    : CUnknown(name, outer, phr),
      m_rtDuration(kUnknownTime),
      m_rtStop(kUnknownTime),
      m_dwSeekingCaps(AM_SEEKING_CanSeekForwards | AM_SEEKING_CanSeekBackwards | AM_SEEKING_CanSeekAbsolute |
                      AM_SEEKING_CanGetStopPos | AM_SEEKING_CanGetDuration),
      m_pLock(lock) {}

HRESULT CSourceSeeking::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
  if (riid == IID_IMediaSeeking) return GetInterface(static_cast<IMediaSeeking*>(this), ppv);
  return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

// --- Capabilities and formats ---

HRESULT CSourceSeeking::GetCapabilities(DWORD* capabilities) {
  CheckPointer(capabilities, E_POINTER);
  *capabilities = m_dwSeekingCaps;
  return S_OK;
}

HRESULT CSourceSeeking::CheckCapabilities(DWORD* capabilities) {
  CheckPointer(capabilities, E_POINTER);
  // The question is not reduced to what is present, and none of it is no failure: kept on purpose.
  return (~m_dwSeekingCaps & *capabilities) != 0 ? S_FALSE : S_OK;
}

HRESULT CSourceSeeking::IsFormatSupported(const GUID* format) {
  CheckPointer(format, E_POINTER);
  return is_media_time(format) ? S_OK : S_FALSE;
}

HRESULT CSourceSeeking::QueryPreferredFormat(GUID* format) {
  CheckPointer(format, E_POINTER);
  *format = TIME_FORMAT_MEDIA_TIME;
  return S_OK;
}

HRESULT CSourceSeeking::GetTimeFormat(GUID* format) {
  return QueryPreferredFormat(format);
}

HRESULT CSourceSeeking::IsUsingTimeFormat(const GUID* format) {
  return IsFormatSupported(format);
}

HRESULT CSourceSeeking::SetTimeFormat(const GUID* format) {
  CheckPointer(format, E_POINTER);
  return is_media_time(format) ? S_OK : E_INVALIDARG;
}

HRESULT CSourceSeeking::ConvertTimeFormat(LONGLONG* target, const GUID* target_format, LONGLONG source,
                                          const GUID* source_format) {
  CheckPointer(target, E_POINTER);
  if (target_format != nullptr && !is_media_time(target_format)) return E_INVALIDARG;
  if (source_format != nullptr && !is_media_time(source_format)) return E_INVALIDARG;
  *target = source;
  return S_OK;
}

// --- Positions ---

HRESULT CSourceSeeking::GetDuration(LONGLONG* duration) {
  CheckPointer(duration, E_POINTER);
  CAutoLock lock(m_pLock);
  *duration = m_rtDuration;
  return S_OK;
}

HRESULT CSourceSeeking::GetStopPosition(LONGLONG* stop) {
  CheckPointer(stop, E_POINTER);
  CAutoLock lock(m_pLock);
  *stop = m_rtStop;
  return S_OK;
}

HRESULT CSourceSeeking::GetCurrentPosition(LONGLONG* /*current*/) {
  return E_NOTIMPL;
}

HRESULT CSourceSeeking::SetPositions(LONGLONG* current, DWORD current_flags, LONGLONG* stop,
                                     DWORD stop_flags) {
  if (const HRESULT hr = check_stop_flags(stop, stop_flags); FAILED(hr)) return hr;
  if (const HRESULT hr = check_current_flags(current, current_flags); FAILED(hr)) return hr;
  const DWORD start_positioning = current_flags & AM_SEEKING_PositioningBitsMask;
  {
    CAutoLock lock(m_pLock);
    m_rtStart = moved(m_rtStart, m_rtStart, current, start_positioning);
    m_rtStop = moved(m_rtStop, m_rtStart, stop, stop_flags);
  }
  HRESULT hr = S_OK;
  if (stop_flags != 0) hr = ChangeStop();
  if (start_positioning != 0) hr = ChangeStart();
  return hr;
}

HRESULT CSourceSeeking::GetPositions(LONGLONG* current, LONGLONG* stop) {
  CAutoLock lock(m_pLock);
  if (current != nullptr) *current = m_rtStart;
  if (stop != nullptr) *stop = m_rtStop;
  return S_OK;
}

HRESULT CSourceSeeking::GetAvailable(LONGLONG* earliest, LONGLONG* latest) {
  if (earliest != nullptr) *earliest = 0;
  if (latest == nullptr) return S_OK;
  CAutoLock lock(m_pLock);
  *latest = m_rtDuration;
  return S_OK;
}

HRESULT CSourceSeeking::GetPreroll(LONGLONG* preroll) {
  CheckPointer(preroll, E_POINTER);
  *preroll = 0;
  return S_OK;
}

// --- Rate ---

HRESULT CSourceSeeking::SetRate(double rate) {
  {
    CAutoLock lock(m_pLock);
    m_dRateSeeking = rate;
  }
  return ChangeRate();
}

HRESULT CSourceSeeking::GetRate(double* rate) {
  CheckPointer(rate, E_POINTER);
  CAutoLock lock(m_pLock);
  *rate = m_dRateSeeking;
  return S_OK;
}
