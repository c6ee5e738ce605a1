// SampleSource, which fills the samples of a pin from a track of an ISO media file, a speech file, or an AAC
// file.
//
// Threads: kind(), stream(), duration_ms() and last_delivered() may be called from any thread, sample_bytes()
// between changes of the connection. Other calls may come from graph and renderer threads while the pin's
// worker runs fill(). Each source has a mutex for its reader, which it never holds while it waits for the
// peer, takes the position lock, or calls a media sample.
#pragma once

#include <streams.h>

#include <atomic>
#include <mutex>

#include "filters/source/mp4/core/stream_kind.h"
#include "filters/source/mp4/interfaces/source_kind.h"
#include "filters/source/mp4/sync/positions.h"
#include "filters/source/mp4/sync/seek_sync.h"
#include "p3gpp/p3gpp.h"

namespace zdr::mp4source {

// What a source needs of its pin and filter while it fills a sample.
class PlaybackContext {
 public:
  virtual Positions positions() = 0;
  virtual void clear_seek_pending() = 0;
  // Moves the segment start of this pin.
  virtual void set_segment_start(REFERENCE_TIME start) = 0;
  // Moves the segment starts of the audio and the video pin, but not of a pin with a newer seek pending.
  virtual void rebase_both_pins(REFERENCE_TIME start) = 0;
  // Signalled when the worker has a command to answer.
  virtual HANDLE request_handle() = 0;
  virtual SeekSync& seek_sync() = 0;
  virtual double frame_rate() = 0;  // frames per second; 0 if unknown

 protected:
  ~PlaybackContext() = default;
};

class SampleSource {
 public:
  virtual ~SampleSource() = default;
  SampleSource(const SampleSource&) = delete;
  SampleSource& operator=(const SampleSource&) = delete;

  SourceKind kind() const { return kind_; }
  virtual StreamKind stream() const = 0;
  virtual DWORD duration_ms() const = 0;
  // Bytes that a media sample must have; 0 if unknown, and then the pin cannot be connected. May throw
  // bad_alloc.
  virtual uint64_t sample_bytes() = 0;
  // Null for a source that is not a track.
  virtual const P3gppTrackInfo* track_info() const { return nullptr; }
  // Start time of the last sample, counted from the segment start.
  REFERENCE_TIME last_delivered() const { return last_delivered_; }

  virtual HRESULT build_media_type(CMediaType& type) = 0;
  virtual bool accepts(const CMediaType& type) = 0;
  // The renderer is late by this much.
  virtual void skip_if_late(REFERENCE_TIME) {}

  // Runs on the pin's worker. S_OK for a filled sample, S_FALSE at the end of the stream, or a failure.
  virtual HRESULT fill(IMediaSample* sample) = 0;
  // Called when the filter has stopped, after the worker has ended: a live worker would go on counting from
  // the reset value.
  virtual void rewind() {}

 protected:
  SampleSource(SourceKind kind, PlaybackContext& context) : context_(context), kind_(kind) {}

  PlaybackContext& context_;
  std::mutex mutex_;  // guards the reader
  std::atomic<REFERENCE_TIME> last_delivered_{0};

 private:
  const SourceKind kind_;
};

}  // namespace zdr::mp4source
