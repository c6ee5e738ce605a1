// Creates and destroys the filter, and implements its state changes, its duration, and its part in seeks.
#include "filters/source/mp4/filter/mp4_source.h"

#include <new>

#include "filters/source/mp4/core/conversions.h"
#include "filters/source/mp4/filter/filter_setup.h"

namespace zdr::mp4source {

CUnknown* CZanMP4SourceFilter::CreateInstance(IUnknown* outer, HRESULT* phr) {
  try {
    auto filter = std::make_unique<CZanMP4SourceFilter>(outer, phr);
    return FAILED(*phr) ? nullptr : filter.release();
  } catch (const std::bad_alloc&) {
    *phr = E_OUTOFMEMORY;
    return nullptr;
  }
}

CZanMP4SourceFilter::CZanMP4SourceFilter(IUnknown* outer, HRESULT* phr)
    : CZanBaseSourceFilter(kFilterName, outer, phr),
      shared_(av_data_available_event_.get(), seek_handling_event_.get()) {}

// Destroys the pins while the filter that they refer to is complete.
CZanMP4SourceFilter::~CZanMP4SourceFilter() {
  CloseSource();
}

void CZanMP4SourceFilter::CloseSource() {
  {
    const CAutoLock lock(&position_lock);
    shared_.longest_pin = nullptr;
  }
  shared_.audio_pin = nullptr;
  shared_.video_pin = nullptr;
  while (!pins_.empty()) pins_.pop_back();
  second_iso_file_.reset();
  iso_file_.reset();
  file_manager_.reset();
  descriptor_ = {};
}

BOOL CZanMP4SourceFilter::GetCurFileMediaType(AM_MEDIA_TYPE* media_type) {
  if (media_type != nullptr) *media_type = {};
  return TRUE;
}

HRESULT CZanMP4SourceFilter::UpdateDuration(CZanBaseSourceOutputPin** longest) {
  CZanBaseSourceOutputPin* candidate = nullptr;
  DWORD longest_ms = 0;
  for (int i = 0; i < GetPinCount(); ++i) {
    CZanBaseSourceOutputPin* const pin = pin_at(i);
    const DWORD duration_ms = pin->GetDurationMs();
    if (candidate != nullptr && duration_ms <= longest_ms) continue;
    candidate = pin;
    longest_ms = duration_ms;
  }
  const CAutoLock lock(&position_lock);
  duration = ms_to_reference_time(longest_ms);
  if (longest != nullptr) *longest = candidate;
  return S_OK;
}

HRESULT CZanMP4SourceFilter::Stop() {
  const std::lock_guard control(control_mutex);
  const HRESULT hr = CZanBaseSourceFilter::Stop();
  for (const PinPointer& pin : pins_) pin->rewind();
  return hr;
}

HRESULT CZanMP4SourceFilter::Pause() {
  const std::lock_guard control(control_mutex);
  if (IsStopped()) {
    shared_.seek_sync.filter_starting();
    // Disarms pins that were disconnected after a seek.
    for (const PinPointer& pin : pins_) {
      if (!pin->IsConnected()) shared_.seek_sync.disarm(pin->stream());
    }
  }
  return CZanBaseSourceFilter::Pause();
}

void CZanMP4SourceFilter::on_pin_seek(const GUID& major_type, bool worker_exists) {
  if (major_type == MEDIATYPE_Audio) shared_.seek_sync.pin_seeking(StreamKind::kAudio, worker_exists);
  if (major_type == MEDIATYPE_Video) shared_.seek_sync.pin_seeking(StreamKind::kVideo, worker_exists);
}

// Arms both streams before either worker starts, so that each knows of the other from the start, and disarms
// a stream that took part only in an earlier seek.
void CZanMP4SourceFilter::on_workers_stopped() {
  shared_.seek_sync.workers_stopped(takes_part_in_seek(shared_.audio_pin),
                                    takes_part_in_seek(shared_.video_pin));
}

bool CZanMP4SourceFilter::takes_part_in_seek(CZanMP4SourceOutputPin* pin) {
  return pin != nullptr && pin->IsConnected() && (pin->ThreadExists() || IsStopped());
}

}  // namespace zdr::mp4source
