// Filling the samples of an ISO media track: read, stamp, mark. Runs on the pin's worker.
#include <algorithm>

#include "filters/source/mp4/conversions.h"
#include "filters/source/mp4/first_sample.h"
#include "filters/source/mp4/mp4_source.h"
#include "filters/source/mp4/sample_buffer.h"

namespace zdr::mp4source {
namespace {

// The product of 32 bits wraps after some 429 s; it decides about the mark only.
bool next_lies_beyond(const FrameTiming& timing, REFERENCE_TIME stop_position) {
  if (!timing.next_ms) return false;
  const uint32_t next_time = *timing.next_ms * uint32_t{kUnitsPerMs};
  return next_time > stop_position;
}

}  // namespace

HRESULT CZanMP4SourceOutputPin::fill_iso(IMediaSample* sample) {
  const Positions segment = positions();
  const HRESULT hr = fill_iso_sample(sample, segment);
  if (hr != S_OK && segment.seek_pending) abandon_seek(hr);
  return hr;
}

HRESULT CZanMP4SourceOutputPin::fill_iso_sample(IMediaSample* sample, Positions segment) {
  const LONG size = sample->GetSize();
  if (segment.seek_pending && !start_at_sync_sample(sample, segment)) return S_FALSE;

  BYTE* buffer = nullptr;
  HRESULT hr = mark_first_sample(SOURCE_KIND_MP4, sample);
  if (SUCCEEDED(hr)) hr = get_buffer(sample, &buffer);
  std::optional<AccessUnits> units;
  {
    const std::lock_guard lock(mutex_);
    if (FAILED(hr)) {
      track_.skip_next();
      return hr;
    }
    units = track_.read_next(buffer, static_cast<uint32_t>(std::max<LONG>(size, 0)));
  }
  if (!units) return S_FALSE;
  sample->SetActualDataLength(static_cast<LONG>(units->size));

  const uint32_t start_ms = media_time_to_whole_ms(units->decoding_time, track_.time_scale());
  const REFERENCE_TIME absolute_start = ms_to_reference_time(start_ms);
  if (absolute_start > segment.stop) return S_FALSE;
  if (segment.seek_pending) {
    join_peer(absolute_start);
    segment = positions();
  }
  REFERENCE_TIME duration = kAudioDuration;
  if (track_.stream() == Stream::kVideo) {
    if (source_->seek_sync().is_preroll(absolute_start, segment.start)) sample->SetPreroll(TRUE);
    duration = stamp_frame(sample, *units, segment.stop);
  } else {
    sample->SetSyncPoint(TRUE);
  }
  REFERENCE_TIME start = wrapping_sub(absolute_start, segment.start);
  REFERENCE_TIME stop = wrapping_add(start, duration);
  sample->SetTime(&start, &stop);
  last_delivered_ = start;
  return S_OK;
}

bool CZanMP4SourceOutputPin::start_at_sync_sample(IMediaSample* sample, const Positions& segment) {
  source_->seek_sync().arm(stream());
  if (segment.start > segment.stop) return false;
  {
    const std::lock_guard lock(mutex_);
    if (!track_.seek(segment.start)) return false;
  }
  sample->SetDiscontinuity(TRUE);
  sample->SetSyncPoint(TRUE);
  return true;
}

// The seek is done for this pin; playback goes on from where audio and video meet.
void CZanMP4SourceOutputPin::join_peer(REFERENCE_TIME absolute_start) {
  clear_seek_pending();
  const SeekSync::Outcome outcome =
      source_->seek_sync().resynchronise(stream(), absolute_start, GetRequestHandle());
  switch (outcome.rebase) {
    case SeekSync::Rebase::kNone:
      break;
    case SeekSync::Rebase::kThisPin:
      set_segment_start(outcome.start);
      break;
    case SeekSync::Rebase::kBothPins:
      source_->rebase_segments(outcome.start);
      break;
  }
}

// No sample follows this seek; the peer must not wait for one. A stream that has ended is done with the seek,
// one that failed makes it in its next run.
void CZanMP4SourceOutputPin::abandon_seek(HRESULT hr) {
  if (SUCCEEDED(hr)) clear_seek_pending();
  source_->seek_sync().stream_ended(stream());
}

// Sync point and end of a frame; returns its duration.
REFERENCE_TIME CZanMP4SourceOutputPin::stamp_frame(IMediaSample* sample, const AccessUnits& frame,
                                                   REFERENCE_TIME stop_position) {
  FrameTiming timing;
  {
    const std::lock_guard lock(mutex_);
    timing = track_.describe_frame(frame, source_->frame_rate());
  }
  sample->SetSyncPoint(timing.is_sync ? TRUE : FALSE);
  if (next_lies_beyond(timing, stop_position)) sample->SetPreroll(FALSE);
  return timing.duration;
}

}  // namespace zdr::mp4source
