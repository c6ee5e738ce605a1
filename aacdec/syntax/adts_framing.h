// Finds the raw_data_blocks of a stream: at the first byte of the input, or after ADTS headers once a stream
// has been found to have them.
#pragma once

#include <cstdint>

#include "aacdec/syntax/bit_reader.h"
#include "aacdec/syntax/stream_format.h"

namespace zdr::aacdec {

// The state of the framing: a small value, so that a call can read a header on a copy and discard the copy if
// the call fails.
struct AdtsFraming {
  static constexpr int kHeaderDue = -1;

  // Kept: set when the first access unit of a stream begins with a syncword, and never cleared. From then on
  // the instance requires ADTS headers, also in later streams.
  bool latched = false;
  int blocks_left = kHeaderDue;  // of the current ADTS frame
  // Kept: sampling_frequency_index 12 (7350 Hz) is accepted in a header and uses the tables of 8000 Hz, but
  // counts as a different rate.
  int sampling_index = 0;
  int profile = kProfileLc;

  // Starts a stream of the given format.
  void begin_stream(int stream_sampling_index, int stream_profile);

  // Moves the reader to the next block and counts it. `is_first`: no block of the stream has been decoded
  // yet. False if the header is missing or the stream is not supported.
  bool find_block(BitReader& reader, bool is_first);

  int32_t rate_hz() const;
  // The format of the blocks; its sampling index selects the tables to use.
  StreamFormat format() const;

 private:
  bool read_header(BitReader& reader);
};

}  // namespace zdr::aacdec
