// The frames of an open file: finds them in order, and moves to a frame by its number.
#pragma once

#include <cstdint>
#include <optional>

#include "esparse/aac/aacf.h"
#include "esparse/aac/frame_sync.h"
#include "esparse/aac/stream_buffer.h"
#include "esparse/aac/stream_description.h"

namespace zdr::aacf {

// The parts of a file, in bytes from its start.
struct FileLayout {
  uint32_t tag_end = 0;         // of the ID3v2 tag
  uint32_t stream_start = 0;    // first byte after the tag that can begin a header
  uint32_t trailing_bytes = 0;  // non-audio bytes at the end of the file
};

class FrameStream {
 public:
  // False if out of memory.
  bool allocate() { return buffer_.allocate(); }

  // Reads the start of the stream and recognises its kind. False on failure.
  bool begin(const id3p::CallbackFile& file, const FileLayout& layout);

  int32_t kind() const { return sync_.kind; }
  const StreamDescription& description() const { return description_; }
  // The first bytes of the stream.
  Bytes head() const { return head_; }
  // True for ADTS with more than one raw_data_block per frame.
  bool has_frames_of_several_blocks() const { return kind() == AACF_KIND_ADTS && (head_[6] & 3) != 0; }

  // The number of the frame at the read position, 0 if unknown.
  uint32_t current_frame() const { return current_frame_; }

  // Stores the length of the frame at the read position. False at the end, or if no frame is found.
  bool find_frame(uint32_t& length);
  void step_over(uint32_t length);
  // Reads more of the file. Returns the number of bytes read.
  uint32_t refill() { return buffer_.refill(file_); }

  // Walks to a frame, from the current or the first one. False if the stream ends before it.
  bool skip_to_frame(uint32_t number);
  // Moves to the next header at or after the estimated position of an ADTS frame. Returns AACF_OK or a
  // failure.
  int32_t estimate_seek(uint32_t number, const AACF_StreamInfo& info);

  // Returns the data for the decoder; empty at the end of the audio.
  Bytes decodable();

 private:
  bool rewind();

  id3p::CallbackFile file_;
  FileLayout layout_;
  StreamDescription description_;
  AACF_SyncState sync_;
  std::array<uint8_t, 16> head_{};
  StreamBuffer buffer_;
  uint32_t current_frame_ = 1;
};

}  // namespace zdr::aacf
