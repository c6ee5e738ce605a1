// Where the raw_data_blocks of a stream begin: at the input's first byte, or behind ADTS headers once a
// stream has shown that it has them.
#pragma once

#include <cstdint>

#include "aacdec/syntax/bit_reader.h"
#include "aacdec/syntax/stream_format.h"

namespace zdr::aacdec {

// What decoding knows of the framing: a small value, so that a call can try a header on a copy and forget it
// when the call comes to nothing.
struct AdtsFraming {
  static constexpr int kHeaderDue = -1;

  // Set by the first access unit of a stream. It outlives the stream: an instance that has once had ADTS
  // takes nothing else any more.
  bool latched = false;
  int blocks_left = kHeaderDue;  // of the ADTS frame at hand
  // sampling_frequency_index, up to 12 (7350 Hz), and profile in force.
  int sampling_index = 0;
  int profile = kProfileLc;

  // A new stream of the given format.
  void begin_stream(int stream_sampling_index, int stream_profile);

  // Moves the reader to the block that it should read next and counts it. `is_first`: no block of the stream
  // has been decoded yet. False: no header, or one of a stream that is not supported.
  bool find_block(BitReader& reader, bool is_first);

  int32_t rate_hz() const;
  // The format of the blocks; a rate without tables of its own has those of the next one.
  StreamFormat format() const;

 private:
  bool read_header(BitReader& reader);
};

}  // namespace zdr::aacdec
