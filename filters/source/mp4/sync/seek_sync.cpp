// Resynchronises the two workers after a seek.
#include "filters/source/mp4/sync/seek_sync.h"

#include <algorithm>

#include "filters/source/mp4/core/conversions.h"

namespace zdr::mp4source {
namespace {

constexpr StreamKind peer_of(StreamKind stream) {
  return stream == StreamKind::kVideo ? StreamKind::kAudio : StreamKind::kVideo;
}

// True if the event or the request ended the wait, or the wait failed; false after `milliseconds`.
bool wait_ended(HANDLE event, HANDLE request, DWORD milliseconds) {
  const HANDLE handles[] = {event, request};
  return WaitForMultipleObjects(2, handles, FALSE, milliseconds) != WAIT_TIMEOUT;
}

// How long audio waits for video to catch up. At most INFINITE - 1, because INFINITE would mean no limit.
DWORD catch_up_ms(REFERENCE_TIME audio_first, REFERENCE_TIME video_first) {
  return static_cast<DWORD>(
      std::min<REFERENCE_TIME>((audio_first - video_first) / kUnitsPerMs, REFERENCE_TIME{INFINITE} - 1));
}

}  // namespace

void SeekSync::pin_seeking(StreamKind stream, bool worker_exists) {
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

void SeekSync::disarm(StreamKind stream) {
  const std::lock_guard lock(mutex_);
  side(stream).armed = false;
}

void SeekSync::filter_starting() {
  const std::lock_guard lock(mutex_);
  for (Side& each : sides_) {
    each.worker_ended = false;
    each.looping = true;
  }
}

void SeekSync::worker_created(StreamKind stream) {
  const std::lock_guard lock(mutex_);
  // Kept: after a seek of a stopped filter the first worker to start disarms the other stream. It sets both
  // latches, so that only one stream is ever disarmed here.
  if (!side(stream).start_latch) side(peer_of(stream)).armed = false;
  for (Side& each : sides_) each.start_latch = true;
}

void SeekSync::worker_ended(StreamKind stream) {
  const std::lock_guard lock(mutex_);
  side(stream).worker_ended = true;
}

void SeekSync::loop_entered(StreamKind stream) {
  const std::lock_guard lock(mutex_);
  side(stream).looping = true;
}

void SeekSync::loop_left(StreamKind stream) {
  const std::lock_guard lock(mutex_);
  side(stream).looping = false;
}

void SeekSync::arm(StreamKind stream) {
  const std::lock_guard lock(mutex_);
  side(stream).armed = true;
}

void SeekSync::stream_ended(StreamKind stream) {
  disarm(stream);
  SetEvent(av_data_available_);
}

SeekSync::Outcome SeekSync::resynchronise(StreamKind stream, REFERENCE_TIME first_time, HANDLE request) {
  const StreamKind peer = peer_of(stream);
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

  // Read after the wait, during which the peer may have dropped out.
  REFERENCE_TIME audio_first = 0;
  REFERENCE_TIME video_first = 0;
  {
    const std::lock_guard lock(mutex_);
    audio_first = audio().first_time;
    video_first = video().first_time;
    if (!audio().armed || !video().armed) {
      if (stream == StreamKind::kAudio) return {Rebase::kThisPin, audio_first};
      preroll_gate_ = true;
      return {};
    }
    if (audio_first <= video_first) return {};
    preroll_gate_ = true;
  }
  // If the time of video is unknown, there is nothing to wait for; the difference to kUnknownTime would be
  // audio's absolute position.
  if (stream == StreamKind::kAudio && video_first != kUnknownTime) {
    wait_for_video(catch_up_ms(audio_first, video_first), request);
  }
  return {Rebase::kBothPins, audio_first};
}

bool SeekSync::peer_is_awaited(StreamKind peer) {
  const std::lock_guard lock(mutex_);
  const Side& other = side(peer);
  return other.armed && other.first_time == kUnknownTime && !other.worker_ended;
}

// Without a time limit, because the peer may take any time to find its first sample.
void SeekSync::wait_for_first_time(StreamKind peer, HANDLE request) {
  // Discards a signal left over from an earlier seek or a stop.
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
    if (audio_is_due) return false;  // the gate stays for frames before audio's time, which is not known yet
    preroll_gate_ = false;
  }
  if (both_armed) {
    SetEvent(seek_handling_);
    Sleep(0);  // yields to audio, which waits for this signal
  }
  return false;
}

}  // namespace zdr::mp4source
