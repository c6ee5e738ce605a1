// IMediaSeeking of the pins. One seek moves all pins of the filter: each running worker is flushed and
// stopped, every pin takes the new positions, and the workers start again and reposition their readers
// themselves.
#include "filters/source/mp4/core/conversions.h"
#include "filters/source/mp4/filter/mp4_source.h"

namespace zdr::mp4source {
namespace {

constexpr DWORD kCapabilities = AM_SEEKING_CanSeekAbsolute | AM_SEEKING_CanSeekForwards |
                                AM_SEEKING_CanSeekBackwards | AM_SEEKING_CanGetStopPos |
                                AM_SEEKING_CanGetDuration;

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

// Where the positions go; neither clamped to the duration nor ordered.
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
  const std::lock_guard control(owner_->control_mutex_);
  // Kept apart from the pins until their workers stand: one may be about to move its segment start for the
  // seek before this one.
  const Positions to = moved(positions(), current, current_flags, stop, stop_flags);
  owner_->seek_pins({current_flags != 0 ? &to.start : nullptr, stop_flags != 0 ? &to.stop : nullptr});
  return S_OK;
}

void CZanBaseSourceFilter::seek_pins(const SeekTarget& target) {
  const int pin_count = GetPinCount();
  for (int i = 0; i < pin_count; ++i) pin_at(i)->stop_for_seek();
  // Only when all workers stand: until then, one may yet move the segment starts of both.
  for (int i = 0; i < pin_count; ++i) pin_at(i)->take_target(target);
  OnWorkersStopped();
  if (IsStopped()) return;
  for (int i = 0; i < pin_count; ++i) {
    CSourceStream* const worker = pin_at(i);
    if (worker->ThreadExists()) worker->Pause();
  }
}

void CZanBaseSourceOutputPin::stop_for_seek() {
  CMediaType type;  // stays zeroed, neither audio nor video, for a pin without a connection
  ConnectionMediaType(&type);
  const bool worker_exists = ThreadExists() != FALSE;
  owner_->OnPinSought(type.majortype, worker_exists);
  if (!worker_exists) return;
  DeliverBeginFlush();
  const bool streaming = !owner_->IsStopped();
  if (streaming) {
    owner_->set_events();  // a worker that waits for its peer must come back to its command loop
    Stop();
  }
  // Whatever the state: a sink that was told to flush swallows everything until it is told to stop.
  DeliverEndFlush();
  if (streaming) owner_->reset_events();
}

void CZanBaseSourceOutputPin::take_target(const SeekTarget& target) {
  const CAutoLock lock(&owner_->position_lock_);
  if (target.start != nullptr) positions_.start = *target.start;
  if (target.stop != nullptr) positions_.stop = *target.stop;
  if (target.start != nullptr || target.stop != nullptr) positions_.seek_pending = true;
}

HRESULT CZanBaseSourceOutputPin::GetCapabilities(DWORD* capabilities) {
  CheckPointer(capabilities, E_POINTER);
  *capabilities = kCapabilities;
  return S_OK;
}

HRESULT CZanBaseSourceOutputPin::CheckCapabilities(DWORD* capabilities) {
  CheckPointer(capabilities, E_POINTER);
  const DWORD asked = *capabilities;
  *capabilities = asked & kCapabilities;
  if (*capabilities == asked) return S_OK;
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

HRESULT CZanBaseSourceOutputPin::SetTimeFormat(const GUID*) {
  return E_NOTIMPL;
}

HRESULT CZanBaseSourceOutputPin::GetDuration(LONGLONG* duration) {
  CheckPointer(duration, E_POINTER);
  const CAutoLock lock(&owner_->position_lock_);
  *duration = owner_->duration_;
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

// Kept: counted from the segment start of the longest pin, not from the start of the file.
HRESULT CZanMP4SourceOutputPin::GetCurrentPosition(LONGLONG* current) {
  CheckPointer(current, E_POINTER);
  const CZanMP4SourceOutputPin* const longest = source_->longest_pin();
  if (longest == nullptr) return E_UNEXPECTED;
  *current = longest->last_delivered();
  return S_OK;
}

}  // namespace zdr::mp4source
