// Reads the file in blocks, and steps from frame to frame within them.
#include "host/inspect/amr/amr_frames.h"

#include <algorithm>
#include <array>

#include "host/formats/amr_frame.h"

namespace zdr::host {
namespace {

// The size of a frame by its first byte; 0 if no frame begins with it.
std::array<uint8_t, 256> frame_sizes(bool is_wide_band) {
  std::array<uint8_t, 256> sizes{};
  for (size_t first = 0; first < sizes.size(); ++first) {
    sizes[first] = static_cast<uint8_t>(amr_frame_size(static_cast<uint8_t>(first), is_wide_band));
  }
  return sizes;
}

// Calls `watch` once a block, and `on_frame` for each frame.
template <class OnFrame>
AmrFrames walk(BlockReader& block, uint64_t begin, uint64_t file_size, bool is_wide_band,
               const std::function<bool(uint64_t offset)>& watch, OnFrame on_frame) {
  const std::array<uint8_t, 256> sizes = frame_sizes(is_wide_band);
  const size_t most_bytes = std::ranges::max(sizes);
  AmrFrames frames{.end = begin};
  while (frames.end < file_size && watch(frames.end)) {
    const Bytes bytes = block.from(frames.end, most_bytes);
    if (bytes.empty()) break;
    for (size_t at = 0; at < bytes.size();) {
      const uint8_t size = sizes[bytes[at]];
      frames.is_damaged = size == 0;
      frames.is_cut = size > file_size - frames.end;
      if (frames.is_damaged || frames.is_cut) return frames;
      if (bytes[at] == 0 && at != 0 && size > bytes.size() - at) break;  // the next block has all of it
      frames.is_blank =
          bytes[at] == 0 && size <= bytes.size() - at && is_blank_amr_frame(bytes.subspan(at, size));
      frames.is_damaged = frames.is_blank;
      if (frames.is_blank) return frames;
      on_frame(frames.end, size);
      frames.end += size;
      at += size;
      ++frames.count;
    }
  }
  return frames;
}

}  // namespace

uint64_t first_amr_frame(BlockReader& block) {
  for (uint64_t offset = 0;;) {
    const auto bytes = block.from(offset, 1);
    if (bytes.empty()) return 0;
    const auto line_end = std::ranges::find(bytes, uint8_t{'\n'});
    offset += static_cast<uint64_t>(line_end - bytes.begin());
    if (line_end != bytes.end()) return offset + 1;
  }
}

AmrFrames walk_amr_frames(BlockReader& block, uint64_t begin, uint64_t file_size, bool is_wide_band,
                          const std::function<bool(uint64_t offset)>& watch) {
  return walk(block, begin, file_size, is_wide_band, watch, [](uint64_t, uint32_t) {});
}

AmrFrames list_amr_frames(BlockReader& block, uint64_t begin, uint64_t file_size, bool is_wide_band,
                          const std::function<void(uint64_t offset, uint32_t size)>& on_frame) {
  return walk(
      block, begin, file_size, is_wide_band, [](uint64_t) { return true; },
      [&](uint64_t offset, uint32_t size) { on_frame(offset, size); });
}

}  // namespace zdr::host
