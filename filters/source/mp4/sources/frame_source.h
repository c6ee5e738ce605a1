// A speech or AAC file as the source of a pin, the only one of its filter: read by frame number, ten frames
// to a media sample. The derived classes count, find and time the frames with their readers.
#pragma once

#include <cstdint>

#include "filters/source/mp4/sources/first_sample.h"
#include "filters/source/mp4/sources/sample_source.h"

namespace zdr::mp4source {

inline constexpr uint32_t kFramesPerGroup = 10;

class FrameSource : public SampleSource {
 public:
  StreamKind stream() const final { return StreamKind::kAudio; }
  // Kept: the pin of a speech or AAC file accepts every media type.
  bool accepts(const CMediaType&) final { return true; }
  HRESULT fill(IMediaSample* sample) final;
  void rewind() final;

 protected:
  FrameSource(SourceKind kind, PlaybackContext& context, FirstSampleMark& first_sample)
      : SampleSource(kind, context), first_sample_(first_sample) {}

  // The functions below are called with the mutex held.

  enum class SeekResult {
    kFailed,
    kMoved,      // the next group is a discontinuity
    kUnchanged,  // no need to move: the next group follows the last one
  };
  struct FoundFrame {
    SeekResult result;
    uint32_t number;  // of kMoved; counted from 1
  };
  virtual FoundFrame find_frame(REFERENCE_TIME target) = 0;
  // True if a stop moves the source to its first frame.
  virtual bool can_rewind() const { return true; }
  // Reads frame `number` into `capacity` bytes, which are more than 0, and stores its size. False if it
  // cannot be read.
  virtual bool read_frame(uint32_t number, uint8_t* buffer, uint32_t capacity, uint32_t* size) = 0;
  // The time stamp, in milliseconds, of a group whose first frame is the one before `number`.
  virtual int64_t time_before(uint32_t number) = 0;

 private:
  // The content of one media sample.
  struct FrameGroup {
    uint32_t size = 0;    // bytes; 0 if nothing could be read
    int64_t time_ms = 0;  // from the start of the file
  };

  SeekResult seek(REFERENCE_TIME target);
  FrameGroup read_group(uint8_t* buffer, uint32_t capacity);

  FirstSampleMark& first_sample_;
  uint32_t counter_ = 0;  // number of the last frame read
};

}  // namespace zdr::mp4source
