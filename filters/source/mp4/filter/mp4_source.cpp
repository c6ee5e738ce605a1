// The filter for ISO media, AMR and AAC files: creation, duration, and its part in seeks.
#include <cstring>
#include <new>

#include "filters/source/mp4/core/conversions.h"
#include "filters/source/mp4/filter/mp4_source.h"

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
      seek_sync_(av_data_available_event_.get(), seek_handling_event_.get()) {}

// The pins go while the filter that they refer to is still whole.
CZanMP4SourceFilter::~CZanMP4SourceFilter() {
  CloseSource();
}

void CZanMP4SourceFilter::CloseSource() {
  {
    const CAutoLock lock(&position_lock_);
    longest_pin_ = nullptr;
  }
  audio_pin_ = nullptr;
  video_pin_ = nullptr;
  while (!pins_.empty()) pins_.pop_back();
  iso_file_.reset();
  file_manager_.reset();
  descriptor_ = {};
  frame_rate_ = 0.0;
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
  const CAutoLock lock(&position_lock_);
  duration_ = ms_to_reference_time(longest_ms);
  stop_position_ = duration_;
  if (longest != nullptr) *longest = candidate;
  return S_OK;
}

const CZanMP4SourceOutputPin* CZanMP4SourceFilter::longest_pin() {
  const CAutoLock lock(&position_lock_);
  return static_cast<const CZanMP4SourceOutputPin*>(longest_pin_);
}

// The worker has ended by then: before, it would count on from the reset.
HRESULT CZanMP4SourceFilter::Stop() {
  const std::lock_guard control(control_mutex_);
  const HRESULT hr = CZanBaseSourceFilter::Stop();
  for (const PinPointer& pin : pins_) pin->rewind_file();
  return hr;
}

HRESULT CZanMP4SourceFilter::Pause() {
  const std::lock_guard control(control_mutex_);
  if (IsStopped()) {
    // A seek may have counted on a pin that was disconnected since.
    for (const PinPointer& pin : pins_) {
      if (!pin->IsConnected()) seek_sync_.disarm(pin->stream());
    }
  }
  return CZanBaseSourceFilter::Pause();
}

void CZanMP4SourceFilter::rebase_segments(REFERENCE_TIME start) {
  const CAutoLock lock(&position_lock_);
  for (CZanBaseSourceOutputPin* const pin : {static_cast<CZanBaseSourceOutputPin*>(audio_pin_),
                                             static_cast<CZanBaseSourceOutputPin*>(video_pin_)}) {
    if (pin != nullptr && !pin->positions_.seek_pending) pin->positions_.start = start;
  }
}

void CZanMP4SourceFilter::OnPinSought(const GUID& major_type, bool worker_exists) {
  if (major_type == MEDIATYPE_Audio) seek_sync_.pin_sought(Stream::kAudio, worker_exists);
  if (major_type == MEDIATYPE_Video) seek_sync_.pin_sought(Stream::kVideo, worker_exists);
}

// Arming the streams here, and not only when each worker meets its seek, makes both know of each other from
// the start, and drops a stream that took part in an earlier seek only.
void CZanMP4SourceFilter::OnWorkersStopped() {
  seek_sync_.workers_stopped(takes_part_in_seek(audio_pin_), takes_part_in_seek(video_pin_));
}

bool CZanMP4SourceFilter::takes_part_in_seek(CZanMP4SourceOutputPin* pin) {
  return pin != nullptr && pin->IsConnected() && (pin->ThreadExists() || IsStopped());
}

}  // namespace zdr::mp4source
