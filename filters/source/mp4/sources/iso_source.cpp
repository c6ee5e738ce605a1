// Fills samples from a track: read, stamp, mark.
#include "filters/source/mp4/sources/iso_source.h"

#include <algorithm>

#include "filters/source/mp4/core/conversions.h"
#include "filters/source/mp4/media_types/media_type.h"
#include "filters/source/mp4/sources/first_sample.h"
#include "filters/source/mp4/sources/sample_buffer.h"
#include "platform/com/status_guard.h"

namespace zdr::mp4source {
namespace {

// Kept: the product has 32 bits and wraps after some 429 s. It affects only the preroll mark.
bool next_frame_is_beyond(const FrameTiming& timing, REFERENCE_TIME stop_position) {
  if (!timing.next_ms) return false;
  const uint32_t next_time = *timing.next_ms * uint32_t{kUnitsPerMs};
  return next_time > stop_position;
}

}  // namespace

uint64_t IsoSource::sample_bytes() {
  const std::lock_guard lock(mutex_);
  uint64_t bytes = track_.largest_sample();
  if (bytes == 0 || is_video()) return bytes;
  // Kept: every audio sample has room for ten units, even of codecs that are delivered one unit a sample.
  bytes *= kUnitsPerGroup;
  return track_.is_aac() ? bytes + kSizeTableBytes : bytes;
}

HRESULT IsoSource::build_media_type(CMediaType& type) {
  const std::lock_guard lock(mutex_);
  return build_track_type({track_, context_.frame_rate()}, type);
}

bool IsoSource::accepts(const CMediaType& type) {
  const std::lock_guard lock(mutex_);
  return accepts_media_type(track_, type);
}

void IsoSource::skip_if_late(REFERENCE_TIME lateness) {
  if (!is_video()) return;
  const std::lock_guard lock(mutex_);
  track_.skip_if_late(lateness);
}

HRESULT IsoSource::fill(IMediaSample* sample) {
  const Positions segment = context_.positions();
  const HRESULT hr = com::guarded([&] { return fill_from(segment, sample); });
  if (hr != S_OK && segment.seek_pending) abandon_seek(hr);
  return hr;
}

HRESULT IsoSource::fill_from(Positions segment, IMediaSample* sample) {
  const LONG size = sample->GetSize();
  if (segment.seek_pending && !start_at_sync_sample(segment, sample)) return S_FALSE;
  BYTE* buffer = nullptr;
  if (const HRESULT hr = mark_and_get_buffer(sample, &buffer); FAILED(hr)) {
    const std::lock_guard lock(mutex_);
    track_.skip_next();
    return hr;
  }
  const auto read = read_up_to(segment.stop, {buffer, static_cast<size_t>(std::max<LONG>(size, 0))});
  if (!read) return S_FALSE;
  sample->SetActualDataLength(static_cast<LONG>(read->size));
  if (segment.seek_pending) {
    join_peer(read->start);
    segment = context_.positions();
  }
  if (is_video() && context_.seek_sync().is_preroll(read->start, segment.start)) sample->SetPreroll(TRUE);
  sample->SetSyncPoint(read->timing.is_sync ? TRUE : FALSE);
  if (next_frame_is_beyond(read->timing, segment.stop)) sample->SetPreroll(FALSE);
  REFERENCE_TIME start = wrapping_sub(read->start, segment.start);
  REFERENCE_TIME stop = wrapping_add(start, read->timing.duration);
  sample->SetTime(&start, &stop);
  last_delivered_ = start;
  return S_OK;
}

bool IsoSource::start_at_sync_sample(const Positions& segment, IMediaSample* sample) {
  context_.seek_sync().arm(stream());
  // Kept: the track does not move, so the next run continues from there, with negative times.
  if (segment.start > segment.stop) return false;
  {
    const std::lock_guard lock(mutex_);
    if (!track_.seek(segment.start)) return false;
  }
  sample->SetDiscontinuity(TRUE);
  sample->SetSyncPoint(TRUE);
  return true;
}

HRESULT IsoSource::mark_and_get_buffer(IMediaSample* sample, BYTE** buffer) {
  const HRESULT hr = mark_first_sample(g_first_iso_sample, sample);
  if (SUCCEEDED(hr)) return get_buffer(sample, buffer);
  g_first_iso_sample.due = true;  // for the next sample
  return hr;
}

// Makes all calls to the parser for one sample under one lock. Empty without a unit, or if it starts after
// the stop position.
std::optional<IsoSource::ReadUnits> IsoSource::read_up_to(REFERENCE_TIME stop_position,
                                                          std::span<BYTE> buffer) {
  const std::lock_guard lock(mutex_);
  const auto units = track_.read_next(buffer.data(), static_cast<uint32_t>(buffer.size()));
  if (!units) return std::nullopt;
  const uint32_t start_ms = media_time_to_whole_ms(units->decoding_time, track_.time_scale());
  ReadUnits read{units->size, ms_to_reference_time(start_ms), {}};
  // Kept: a sample that starts exactly at the stop position is delivered.
  if (read.start > stop_position) return std::nullopt;
  // Kept: an audio sample ends 100 ns after its start, however many units it holds.
  read.timing = is_video() ? track_.describe_frame(*units, context_.frame_rate())
                           : FrameTiming{true, kAudioDuration, std::nullopt};
  return read;
}

// Completes the seek of this pin. Playback continues from the time on which audio and video agree.
void IsoSource::join_peer(REFERENCE_TIME absolute_start) {
  context_.clear_seek_pending();
  const SeekSync::Outcome outcome =
      context_.seek_sync().resynchronise(stream(), absolute_start, context_.request_handle());
  switch (outcome.rebase) {
    case SeekSync::Rebase::kNone:
      break;
    case SeekSync::Rebase::kThisPin:
      context_.set_segment_start(outcome.start);
      break;
    case SeekSync::Rebase::kBothPins:
      context_.rebase_both_pins(outcome.start);
      break;
  }
}

// No sample follows this seek, so the peer must not wait for one. A stream that has ended has finished the
// seek; one that failed repeats it in its next run.
void IsoSource::abandon_seek(HRESULT hr) {
  if (SUCCEEDED(hr)) context_.clear_seek_pending();
  context_.seek_sync().stream_ended(stream());
}

}  // namespace zdr::mp4source
