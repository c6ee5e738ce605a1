// SeekSync resynchronises the audio and the video worker of one file after a seek.
//
// Video restarts at a key frame, audio at the nearest access unit, so the two start at different times. Each
// worker records the time of its first sample. When both are known, playback starts at audio's: both pins
// take that time as their segment start, video before it is delivered as preroll, and audio holds back its
// first sample until video has caught up.
//
// The workers signal each other through two named auto-reset events that every filter of the user's session
// shares, so another filter may send a signal or consume one. Therefore any signal ends a wait, but no wait
// depends on a signal: it also ends when its condition holds, which is checked at least every kSliceMs, and
// when the waiting worker gets a request.
//
// Threads: every method may be called from any thread. One mutex guards all state. It is held for a few loads
// and stores, never while waiting for an event or setting one. State is changed before the event is set.
#pragma once

#include <windows.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <mutex>

#include "filters/source/mp4/core/stream_kind.h"

namespace zdr::mp4source {

class SeekSync {
 public:
  static constexpr REFERENCE_TIME kUnknownTime = -1;
  static constexpr DWORD kSliceMs = 250;

  // Which segment starts the worker moves after resynchronise().
  enum class Rebase { kNone, kThisPin, kBothPins };
  struct Outcome {
    Rebase rebase = Rebase::kNone;
    REFERENCE_TIME start = 0;
  };

  // The caller owns the events, which outlive this object. With null events no wait takes place.
  SeekSync(HANDLE av_data_available, HANDLE seek_handling)
      : av_data_available_(av_data_available), seek_handling_(seek_handling) {}
  SeekSync(const SeekSync&) = delete;
  SeekSync& operator=(const SeekSync&) = delete;

  // --- Called by the seeking thread ---
  // In this order: once per pin while its worker is stopping, then once when all workers have stopped.

  void pin_seeking(StreamKind stream, bool worker_exists);
  // A stream takes part if its pin is connected and its worker exists or will be started.
  void workers_stopped(bool audio_takes_part, bool video_takes_part);
  // The pin will not play after all.
  void disarm(StreamKind stream);

  // --- Called by the thread that starts a stopped filter ---
  // Before any worker exists.

  void filter_starting();

  // --- Called by workers ---

  void worker_created(StreamKind stream);
  void worker_ended(StreamKind stream);
  void loop_entered(StreamKind stream);
  void loop_left(StreamKind stream);
  void arm(StreamKind stream);
  // The stream has ended before its first sample after a seek: the peer must not wait for it.
  void stream_ended(StreamKind stream);
  // `first_time` is the absolute time of the worker's first sample after the seek; `request` is signalled
  // when the worker has a command to answer. May wait for the peer.
  Outcome resynchronise(StreamKind stream, REFERENCE_TIME first_time, HANDLE request);
  // Video only: true if the sample is before the time from which video is shown.
  bool is_preroll(REFERENCE_TIME absolute_start, REFERENCE_TIME segment_start);

 private:
  struct Side {
    REFERENCE_TIME first_time = kUnknownTime;
    bool armed = false;         // takes part in the resynchronisation
    bool worker_ended = false;  // its worker has ended since the filter started
    bool looping = false;       // its worker is in the delivery loop, or about to start
    // Cleared by a seek that finds no worker for this stream. The worker that then starts first disarms the
    // other stream, because it cannot know whether the other worker will run at all.
    bool start_latch = true;
  };

  Side& side(StreamKind stream) { return sides_[static_cast<size_t>(stream)]; }
  Side& video() { return side(StreamKind::kVideo); }
  Side& audio() { return side(StreamKind::kAudio); }
  bool peer_is_awaited(StreamKind peer);
  void wait_for_first_time(StreamKind peer, HANDLE request);
  void wait_for_video(DWORD milliseconds, HANDLE request);

  const HANDLE av_data_available_;
  const HANDLE seek_handling_;
  std::mutex mutex_;  // guards everything below; the gate may be read without it
  std::array<Side, 2> sides_;
  std::atomic<bool> preroll_gate_{false};
};

}  // namespace zdr::mp4source
