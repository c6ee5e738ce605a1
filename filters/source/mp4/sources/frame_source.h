// The stream of a speech or AAC file, the only one of its filter: read by frame number, ten frames to a media
// sample. The readers differ in how they count, find and time their frames; a class for each fills that in.
//
// Threads: not thread-safe. kind(), duration_ms() and sample_bytes() may be asked by anyone between changes
// of the connection; for everything else the pin's mutex is held.
#pragma once

#include <streams.h>

#include <cstdint>

#include "filters/source/mp4/core/source_kind.h"

namespace zdr::mp4source {

inline constexpr uint32_t kFramesPerGroup = 10;

// What one media sample was filled with.
struct FrameGroup {
  uint32_t size = 0;    // bytes in the buffer; 0 when nothing could be read
  int64_t time_ms = 0;  // of the group, from the start of the file
};

class FileStream {
 public:
  virtual ~FileStream() = default;

  virtual SourceKind kind() const = 0;
  virtual DWORD duration_ms() const = 0;
  virtual HRESULT build_media_type(CMediaType& type) = 0;
  // Room that a media sample needs; 0 when it is unknown, and then the pin cannot connect.
  virtual uint64_t sample_bytes() const = 0;

  enum class SeekResult {
    kFailed,
    kMoved,      // the next group begins a new stretch
    kUnchanged,  // there was no need: the next group follows the last
  };
  // Goes to the frame of the time, so that read_group() begins with it.
  SeekResult seek(REFERENCE_TIME target);
  // Reads on from the last frame. Frames that do not fit into `room` bytes are not read.
  FrameGroup read_group(uint8_t* buffer, uint32_t room);
  // Passes over a frame, as if it had been read.
  void skip_next() { ++counter_; }
  // The filter was stopped: the next group is the first of the file, if the stream can be rewound.
  void rewind() {
    if (can_rewind()) counter_ = 0;
  }

 protected:
  struct Found {
    SeekResult result;
    uint32_t frame;  // counted from 1; of kMoved
  };
  virtual Found find(REFERENCE_TIME target) = 0;
  virtual bool can_rewind() const { return true; }
  // Reads frame `number` into `room` bytes, more than 0, and tells its size. False when it is not there.
  virtual bool read_frame(uint32_t number, uint8_t* buffer, uint32_t room, uint32_t* size) = 0;
  // What a group is stamped with whose first frame is the one before `number`.
  virtual int64_t time_before(uint32_t number) = 0;

 private:
  uint32_t counter_ = 0;  // number of the last frame read
};

}  // namespace zdr::mp4source
