// How the audio and the video worker of one file find together again after a seek.
//
// Video restarts at a key frame, audio at the nearest access unit, so the two land on different times. Each
// worker records the time of its first sample; when both are known, playback starts at audio's: both pins
// take that time as their segment start, video before it is delivered as preroll, and audio holds its first
// sample back until video has caught up.
//
// The hand-over goes through two named auto-reset events that every filter of the user's session shares. A
// signal may therefore be a stranger's, or be taken by one. So a signal releases a wait, whoever sent it, but
// no wait depends on it: each also ends by what it waits for, looked up again at least every kSliceMs, and by
// a request to the waiting worker.
//
// Threads: every method may be called from any thread. One mutex guards all state and is held for a few loads
// and stores only, never while an event is awaited or set. Every setter changes the state before it sets an
// event.
#pragma once

#include <windows.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <mutex>

namespace zdr::mp4source {

// A stream of an ISO media file; the values are the pin kinds.
enum class Stream : uint32_t { kVideo = 0, kAudio = 1 };

class SeekSync {
 public:
  static constexpr REFERENCE_TIME kUnknownTime = -1;
  static constexpr DWORD kSliceMs = 250;

  // What a worker does to segment starts after it has resynchronised.
  enum class Rebase { kNone, kThisPin, kBothPins };
  struct Outcome {
    Rebase rebase = Rebase::kNone;
    REFERENCE_TIME start = 0;
  };

  // The events are the owner's and outlive this object; without them no wait takes place.
  SeekSync(HANDLE av_data_available, HANDLE seek_handling)
      : av_data_available_(av_data_available), seek_handling_(seek_handling) {}
  SeekSync(const SeekSync&) = delete;
  SeekSync& operator=(const SeekSync&) = delete;

  // --- Seeking threads, in this order: once for each pin that is sought, then once when all workers stand.

  void pin_sought(Stream stream, bool worker_exists);
  // `audio_takes_part`: a connected pin whose worker exists or will be started; likewise video.
  void workers_stopped(bool audio_takes_part, bool video_takes_part);
  // A pin that will not play after all.
  void disarm(Stream stream);

  // --- Workers.

  void worker_created(Stream stream);
  void worker_ended(Stream stream);
  void loop_entered(Stream stream);
  void loop_left(Stream stream);
  void arm(Stream stream);
  // The stream has ended before its first sample after a seek: the peer must not wait for it.
  void stream_ended(Stream stream);
  // `first_time` is the absolute time of the worker's first sample after the seek, `request` is signalled
  // when the worker has a command to answer. May wait for the peer.
  Outcome resynchronise(Stream stream, REFERENCE_TIME first_time, HANDLE request);
  // Video only: whether the sample lies before the time from which video is to be shown.
  bool is_preroll(REFERENCE_TIME absolute_start, REFERENCE_TIME segment_start);

 private:
  struct Side {
    REFERENCE_TIME first_time = kUnknownTime;
    bool armed = false;         // takes part in the resynchronisation
    bool worker_ended = false;  // its worker was there and has gone
    bool looping = false;       // its worker is in the delivery loop
    // Cleared by a seek that finds no worker for this stream. The worker that then starts disarms the other
    // stream, of which it cannot know whether it will run at all.
    bool start_latch = true;
  };

  Side& side(Stream stream) { return sides_[static_cast<size_t>(stream)]; }
  Side& video() { return side(Stream::kVideo); }
  Side& audio() { return side(Stream::kAudio); }
  bool peer_is_awaited(Stream peer);
  void wait_for_first_time(Stream peer, HANDLE request);
  void wait_for_video(DWORD milliseconds, HANDLE request);

  const HANDLE av_data_available_;
  const HANDLE seek_handling_;
  std::mutex mutex_;  // guards all below; the gate may be read without it
  std::array<Side, 2> sides_;
  std::atomic<bool> preroll_gate_{false};
};

}  // namespace zdr::mp4source
