// Walks over the frames of an AMR file by their first bytes (RFC 4867, 5.3).
#pragma once

#include <cstdint>
#include <functional>

#include "host/inspect/files/file_stream.h"

namespace zdr::host {

struct AmrFrames {
  uint64_t count = 0;
  uint64_t end = 0;         // offset after the last whole frame
  bool is_cut = false;      // the file ends inside the frame at `end`
  bool is_damaged = false;  // the byte at `end` cannot begin a frame, or the frame is blank
  bool is_blank = false;
};

// Offset after the line of the magic number.
uint64_t first_amr_frame(BlockReader& block);

// Counts from `begin` on. `watch` is called regularly with the offset; returning false ends the walk.
AmrFrames walk_amr_frames(
    BlockReader& block, uint64_t begin, uint64_t file_size, bool is_wide_band,
    const std::function<bool(uint64_t offset)>& watch = [](uint64_t) { return true; });

// The same, and calls `on_frame` with the offset and the size of each whole frame.
AmrFrames list_amr_frames(BlockReader& block, uint64_t begin, uint64_t file_size, bool is_wide_band,
                          const std::function<void(uint64_t offset, uint32_t size)>& on_frame);

}  // namespace zdr::host
