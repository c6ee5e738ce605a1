// Filling the samples of an ISO media track: read, stamp, mark. Runs on the pin's worker.
#include <algorithm>

#include "filters/source/mp4/core/conversions.h"
#include "filters/source/mp4/filter/mp4_source.h"
#include "filters/source/mp4/sources/first_sample.h"
#include "filters/source/mp4/sources/sample_buffer.h"

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
  if (FAILED(hr)) {
    const std::lock_guard lock(mutex_);
    track_.skip_next();
    return hr;
  }
  const auto read = read_up_to(segment.stop, {buffer, static_cast<size_t>(std::max<LONG>(size, 0))});
  if (!read) return S_FALSE;
  sample->SetActualDataLength(static_cast<LONG>(read->size));
  if (segment.seek_pending) {
    join_peer(read->start);
    segment = positions();
  }
  const bool is_video = track_.stream() == Stream::kVideo;
  if (is_video && source_->seek_sync().is_preroll(read->start, segment.start)) sample->SetPreroll(TRUE);
  sample->SetSyncPoint(read->timing.is_sync ? TRUE : FALSE);
  if (next_lies_beyond(read->timing, segment.stop)) sample->SetPreroll(FALSE);
  REFERENCE_TIME start = wrapping_sub(read->start, segment.start);
  REFERENCE_TIME stop = wrapping_add(start, read->timing.duration);
  sample->SetTime(&start, &stop);
  last_delivered_ = start;
  return S_OK;
}

// Everything that the parser is asked for a sample, under one hold of the pin mutex. Nothing when there is no
// unit or it begins behind `stop_position`.
std::optional<CZanMP4SourceOutputPin::ReadUnits> CZanMP4SourceOutputPin::read_up_to(
    REFERENCE_TIME stop_position, std::span<BYTE> buffer) {
  const std::lock_guard lock(mutex_);
  const auto units = track_.read_next(buffer.data(), static_cast<uint32_t>(buffer.size()));
  if (!units) return std::nullopt;
  const uint32_t start_ms = media_time_to_whole_ms(units->decoding_time, track_.time_scale());
  ReadUnits read{units->size, ms_to_reference_time(start_ms), {}};
  if (read.start > stop_position) return std::nullopt;
  read.timing = track_.stream() == Stream::kVideo ? track_.describe_frame(*units, source_->frame_rate())
                                                  : FrameTiming{true, kAudioDuration, std::nullopt};
  return read;
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

}  // namespace zdr::mp4source
