// Builds AAC files of silent frames of chosen sizes: ADTS, ADIF and raw.
#pragma once

#include "mediakit/aac/bit_writer.h"

namespace zdr::test {

// A raw_data_block of exactly `size` bytes (at least 14 for one channel, 20 for two): silence, and data
// elements full of `filler`.
Bytes silent_block(size_t size, int channels = 2, uint8_t filler = 0x55);

struct FrameFields {
  uint64_t channels = 2;
  uint8_t filler = 0x55;
  size_t blocks = 1;
};
// A frame of `size` bytes with its header of seven, at 44100 Hz.
Bytes adts_frame(size_t size, const FrameFields& fields = {});
Bytes adts_file(size_t frame_count, size_t frame_size);

struct AdifFields {
  bool copyright = false;  // with an identification of bytes 0x9D to 0xA5
  bool variable_rate = false;
  uint64_t sampling_index = 4;
  uint64_t channels = 2;
  uint64_t further_programs = 0;
};
Bytes adif_header(const AdifFields& fields = {});

// A length byte and the AudioSpecificConfig of AAC LC, 44100 Hz, two channels.
Bytes raw_header();

Bytes repeated(const Bytes& piece, size_t count);

}  // namespace zdr::test
