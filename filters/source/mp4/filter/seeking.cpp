// IMediaSeeking of the pins. One seek moves all pins of the filter: each running worker is flushed and
// stopped, every pin takes the new positions, and the workers start again and reposition their readers
// themselves.
#include "filters/source/mp4/core/conversions.h"
#include "filters/source/mp4/filter/base_pin.h"

namespace zdr::mp4source {
namespace {

// Kept: GetCurrentPosition works, although its capability is missing here.
constexpr DWORD kCapabilities = AM_SEEKING_CanSeekAbsolute | AM_SEEKING_CanSeekForwards |
                                AM_SEEKING_CanSeekBackwards | AM_SEEKING_CanGetStopPos |
                                AM_SEEKING_CanGetDuration;

// Kept: modifiers are ignored in the current flags and refused in the stop flags.
HRESULT check_flags(const LONGLONG* current, DWORD current_flags, const LONGLONG* stop, DWORD stop_flags) {
  if (stop_flags != 0) {
    CheckPointer(stop, E_POINTER);
    if ((stop_flags & ~DWORD{AM_SEEKING_PositioningBitsMask}) != 0) return E_INVALIDARG;
  }
  if (current_flags != 0) {
    CheckPointer(current, E_POINTER);
    const DWORD positioning = current_flags & AM_SEEKING_PositioningBitsMask;
    if (positioning != AM_SEEKING_AbsolutePositioning && positioning != AM_SEEKING_RelativePositioning) {
      return E_INVALIDARG;
    }
  }
  return S_OK;
}

// Kept: the new positions are neither clamped to the duration nor ordered.
Positions moved(Positions from, const LONGLONG* current, DWORD current_flags, const LONGLONG* stop,
                DWORD stop_flags) {
  Positions to = from;
  const DWORD current_positioning = current_flags & AM_SEEKING_PositioningBitsMask;
  if (current_positioning == AM_SEEKING_AbsolutePositioning) to.start = *current;
  if (current_positioning == AM_SEEKING_RelativePositioning) to.start = wrapping_add(from.start, *current);
  if (stop_flags == AM_SEEKING_AbsolutePositioning) to.stop = *stop;
  if (stop_flags == AM_SEEKING_IncrementalPositioning) to.stop = wrapping_add(to.start, *stop);
  if (stop_flags == AM_SEEKING_RelativePositioning) to.stop = wrapping_add(from.stop, *stop);
  return to;
}

}  // namespace

HRESULT CZanBaseSourceOutputPin::SetPositions(LONGLONG* current, DWORD current_flags, LONGLONG* stop,
                                              DWORD stop_flags) {
  const HRESULT hr = check_flags(current, current_flags, stop, stop_flags);
  if (FAILED(hr)) return hr;
  const std::lock_guard control(owner_.control_mutex);
  // The pins get the positions after their workers have stopped: until then a worker may move its segment
  // start for the previous seek.
  const Positions to = moved(positions(), current, current_flags, stop, stop_flags);
  owner_.seek_pins({current_flags != 0 ? &to.start : nullptr, stop_flags != 0 ? &to.stop : nullptr});
  return S_OK;
}

HRESULT CZanBaseSourceOutputPin::GetCapabilities(DWORD* capabilities) {
  CheckPointer(capabilities, E_POINTER);
  *capabilities = kCapabilities;
  return S_OK;
}

HRESULT CZanBaseSourceOutputPin::CheckCapabilities(DWORD* capabilities) {
  CheckPointer(capabilities, E_POINTER);
  const DWORD requested = *capabilities;
  *capabilities = requested & kCapabilities;
  if (*capabilities == requested) return S_OK;
  return *capabilities != 0 ? S_FALSE : E_FAIL;
}

HRESULT CZanBaseSourceOutputPin::IsFormatSupported(const GUID* format) {
  CheckPointer(format, E_POINTER);
  return *format == TIME_FORMAT_MEDIA_TIME ? S_OK : S_FALSE;
}

HRESULT CZanBaseSourceOutputPin::QueryPreferredFormat(GUID* format) {
  CheckPointer(format, E_POINTER);
  *format = TIME_FORMAT_MEDIA_TIME;
  return S_OK;
}

HRESULT CZanBaseSourceOutputPin::GetTimeFormat(GUID* format) {
  return QueryPreferredFormat(format);
}

HRESULT CZanBaseSourceOutputPin::IsUsingTimeFormat(const GUID* format) {
  return IsFormatSupported(format);
}

// Kept: not implemented for any argument, including the format in use; likewise ConvertTimeFormat, SetRate
// and GetPreroll.
HRESULT CZanBaseSourceOutputPin::SetTimeFormat(const GUID*) {
  return E_NOTIMPL;
}

HRESULT CZanBaseSourceOutputPin::GetDuration(LONGLONG* duration) {
  CheckPointer(duration, E_POINTER);
  const CAutoLock lock(&owner_.position_lock);
  *duration = owner_.duration;
  return S_OK;
}

HRESULT CZanBaseSourceOutputPin::GetStopPosition(LONGLONG* stop) {
  CheckPointer(stop, E_POINTER);
  *stop = positions().stop;
  return S_OK;
}

HRESULT CZanBaseSourceOutputPin::ConvertTimeFormat(LONGLONG*, const GUID*, LONGLONG, const GUID*) {
  return E_NOTIMPL;
}

// Kept: both pointers are needed, unlike in GetAvailable.
HRESULT CZanBaseSourceOutputPin::GetPositions(LONGLONG* current, LONGLONG* stop) {
  if (current == nullptr || stop == nullptr) return E_POINTER;
  return GetAvailable(current, stop);
}

HRESULT CZanBaseSourceOutputPin::GetAvailable(LONGLONG* earliest, LONGLONG* latest) {
  const Positions segment = positions();
  if (earliest != nullptr) *earliest = segment.start;
  if (latest != nullptr) *latest = segment.stop;
  return S_OK;
}

HRESULT CZanBaseSourceOutputPin::SetRate(double) {
  return E_NOTIMPL;
}

HRESULT CZanBaseSourceOutputPin::GetRate(double* rate) {
  CheckPointer(rate, E_POINTER);
  *rate = 1.0;
  return S_OK;
}

HRESULT CZanBaseSourceOutputPin::GetPreroll(LONGLONG*) {
  return E_NOTIMPL;
}

}  // namespace zdr::mp4source
