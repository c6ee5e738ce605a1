// The resynchronisation of the two workers after a seek.
#include "filters/source/mp4/sync/seek_sync.h"

#include <algorithm>

#include "filters/source/mp4/core/conversions.h"

namespace zdr::mp4source {
namespace {

constexpr Stream peer_of(Stream stream) {
  return stream == Stream::kVideo ? Stream::kAudio : Stream::kVideo;
}

// True when the event or the request ended the wait, or it failed; false after `milliseconds`.
bool wait_ended(HANDLE event, HANDLE request, DWORD milliseconds) {
  const HANDLE handles[] = {event, request};
  return WaitForMultipleObjects(2, handles, FALSE, milliseconds) != WAIT_TIMEOUT;
}

// How long audio lets video catch up. One less than INFINITE at most, which would be no limit.
DWORD catch_up_ms(REFERENCE_TIME audio_first, REFERENCE_TIME video_first) {
  return static_cast<DWORD>(
      std::min<REFERENCE_TIME>((audio_first - video_first) / kUnitsPerMs, REFERENCE_TIME{INFINITE} - 1));
}

}  // namespace

void SeekSync::pin_sought(Stream stream, bool worker_exists) {
  const std::lock_guard lock(mutex_);
  if (worker_exists) {
    side(peer_of(stream)).start_latch = true;
  } else {
    side(stream).start_latch = false;
  }
}

void SeekSync::workers_stopped(bool audio_takes_part, bool video_takes_part) {
  const std::lock_guard lock(mutex_);
  for (Side& each : sides_) {
    each.first_time = kUnknownTime;
    each.worker_ended = false;
  }
  audio().armed = audio_takes_part;
  video().armed = video_takes_part;
}

void SeekSync::disarm(Stream stream) {
  const std::lock_guard lock(mutex_);
  side(stream).armed = false;
}

void SeekSync::worker_created(Stream stream) {
  const std::lock_guard lock(mutex_);
  side(stream).worker_ended = false;
  // The first worker to start sets both latches, so that only one stream is ever disarmed here.
  if (!side(stream).start_latch) side(peer_of(stream)).armed = false;
  for (Side& each : sides_) each.start_latch = true;
}

void SeekSync::worker_ended(Stream stream) {
  const std::lock_guard lock(mutex_);
  side(stream).worker_ended = true;
}

void SeekSync::loop_entered(Stream stream) {
  const std::lock_guard lock(mutex_);
  side(stream).looping = true;
}

void SeekSync::loop_left(Stream stream) {
  const std::lock_guard lock(mutex_);
  side(stream).looping = false;
}

void SeekSync::arm(Stream stream) {
  const std::lock_guard lock(mutex_);
  side(stream).armed = true;
}

void SeekSync::stream_ended(Stream stream) {
  disarm(stream);
  SetEvent(av_data_available_);
}

SeekSync::Outcome SeekSync::resynchronise(Stream stream, REFERENCE_TIME first_time, HANDLE request) {
  const Stream peer = peer_of(stream);
  bool announce = false;
  bool wait = false;
  {
    const std::lock_guard lock(mutex_);
    side(stream).first_time = first_time;
    announce = side(peer).armed && side(peer).first_time != kUnknownTime;
    wait = side(peer).armed && !announce;
  }
  if (announce) SetEvent(av_data_available_);
  if (wait) wait_for_first_time(peer, request);

  // The flags count as they stand after the wait: the peer may have dropped out meanwhile.
  REFERENCE_TIME audio_first = 0;
  REFERENCE_TIME video_first = 0;
  {
    const std::lock_guard lock(mutex_);
    audio_first = audio().first_time;
    video_first = video().first_time;
    if (!audio().armed || !video().armed) {
      if (stream == Stream::kAudio) return {Rebase::kThisPin, audio_first};
      preroll_gate_ = true;
      return {};
    }
    if (audio_first <= video_first) return {};
    preroll_gate_ = true;
  }
  // Without a time of video there is nothing to catch up with; the plain difference to "unknown" would be
  // audio's absolute position.
  if (stream == Stream::kAudio && video_first != kUnknownTime) {
    wait_for_video(catch_up_ms(audio_first, video_first), request);
  }
  return {Rebase::kBothPins, audio_first};
}

bool SeekSync::peer_is_awaited(Stream peer) {
  const std::lock_guard lock(mutex_);
  const Side& other = side(peer);
  return other.armed && other.first_time == kUnknownTime && !other.worker_ended;
}

// No limit of its own, since a peer may take as long as it needs to find its first sample.
void SeekSync::wait_for_first_time(Stream peer, HANDLE request) {
  // A signal left over from an earlier seek, or from a stop, says nothing about this one.
  WaitForSingleObject(av_data_available_, 0);
  while (peer_is_awaited(peer)) {
    if (wait_ended(av_data_available_, request, kSliceMs)) return;
  }
}

void SeekSync::wait_for_video(DWORD milliseconds, HANDLE request) {
  for (DWORD left = milliseconds; left > 0;) {
    {
      const std::lock_guard lock(mutex_);
      if (!video().looping) return;
    }
    const DWORD slice = std::min(left, kSliceMs);
    if (wait_ended(seek_handling_, request, slice)) return;
    left -= slice;
  }
}

bool SeekSync::is_preroll(REFERENCE_TIME absolute_start, REFERENCE_TIME segment_start) {
  if (!preroll_gate_) return false;
  bool both_armed = false;
  {
    const std::lock_guard lock(mutex_);
    both_armed = audio().armed && video().armed;
    const bool audio_is_due = both_armed && audio().first_time == kUnknownTime;
    const REFERENCE_TIME shown_from = both_armed && !audio_is_due ? audio().first_time : segment_start;
    if (absolute_start < shown_from) return true;
    if (audio_is_due) return false;  // the gate stays for the frames that audio's time will turn out to cover
    preroll_gate_ = false;
  }
  if (both_armed) {
    SetEvent(seek_handling_);
    Sleep(0);  // audio waits for exactly this
  }
  return false;
}

}  // namespace zdr::mp4source
