// Counts the frames of an ADTS stream by their headers (ISO/IEC 13818-7, 6.2), without decoding them.
#pragma once

#include <cstdint>
#include <functional>

#include "host/formats/adts_header.h"
#include "host/inspect/files/file_stream.h"

namespace zdr::host {

struct AdtsFrames {
  uint64_t count = 0;       // raw data blocks of whole frames; most frames have one
  uint64_t end = 0;         // offset after the last one
  uint64_t bytes = 0;       // of whole frames
  bool is_cut = false;      // the stream ends inside another frame
  uint64_t gap_bytes = 0;   // bytes between frames that belong to none and to no tag
  uint64_t gap_offset = 0;  // of the first of them
  uint64_t last_gap_offset = 0;
  uint64_t last_gap_end = 0;
  uint64_t padding_bytes = 0;  // zeros after the last frame; 0 if they are few enough for ordinary padding

  void add_gap(uint64_t begin, uint64_t gap_end) {
    if (gap_bytes == 0) gap_offset = begin;
    gap_bytes += gap_end - begin;
    last_gap_offset = begin;
    last_gap_end = gap_end;
  }
};

// Counts from `begin` to `end`. Where no frame begins, skips to the next one that is directly followed by
// another. Calls `on_frame` with the number (from 1), the offset and the size of each frame; returning false
// ends the walk.
AdtsFrames walk_adts_frames(
    FileStream& stream, uint64_t begin, uint64_t end,
    const std::function<bool(uint64_t number, uint64_t offset, uint32_t size)>& on_frame);

}  // namespace zdr::host
