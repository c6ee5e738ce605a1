// Steps from header to header.
#include "host/inspect/adts_frames.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace zdr::host {
namespace {

constexpr size_t kHeaderBytes = 7;
constexpr std::string_view kTagMark = "ID3";
constexpr size_t kTailMarkBytes = 8;

// The bits that all headers of a stream share: those up to the channel configuration.
using FixedBits = std::array<uint8_t, 4>;

FixedBits fixed_bits(std::span<const uint8_t> header) {
  if (header.size() < kHeaderBytes) return {};
  return {header[0], header[1], header[2], static_cast<uint8_t>(header[3] & 0xF0)};
}

// 0 unless a header of the stream begins here. The reader skips frames of other headers, too.
size_t frame_length(std::span<const uint8_t> bytes, const FixedBits& fixed) {
  if (bytes.size() < kHeaderBytes || !is_adts_header(bytes) || fixed_bits(bytes) != fixed) return 0;
  const size_t length = size_t{bytes[3] & 3U} << 11 | size_t{bytes[4]} << 3 | bytes[5] >> 5;
  return length >= kHeaderBytes ? length : 0;
}

// The raw data blocks of a frame, each of which is an AAC frame.
uint64_t block_count(std::span<const uint8_t> header) {
  return (header[6] & 3U) + 1;
}

// Some streams have further ID3v2 tags between frames.
bool begins_tag(std::span<const uint8_t> bytes) {
  return bytes.size() >= kTagMark.size() && std::equal(kTagMark.begin(), kTagMark.end(), bytes.begin());
}

// What may follow the last frame: padding, or a tag of another kind.
bool is_tail(std::span<const uint8_t> bytes) {
  const std::span<const uint8_t> mark = bytes.first(std::min(bytes.size(), kTailMarkBytes));
  const auto is_zero = [](uint8_t byte) { return byte == 0; };
  return std::ranges::all_of(mark, is_zero) || std::ranges::equal(mark, std::string_view("APETAGEX")) ||
         begins_tag(bytes);
}

// Returns the offset of the next frame that another one follows at once, or `end`.
uint64_t find_frames(BlockReader& block, const FixedBits& fixed, uint64_t begin, uint64_t end) {
  for (uint64_t offset = begin; offset + 2 * kHeaderBytes <= end; ++offset) {
    const std::span<const uint8_t> bytes = block.from(offset, kHeaderBytes);
    if (bytes.size() < kHeaderBytes) return end;  // the file ends, or cannot be read
    const size_t length = frame_length(bytes, fixed);
    if (length != 0 && offset + length + kHeaderBytes <= end &&
        frame_length(block.from(offset + length, kHeaderBytes), fixed) != 0)
      return offset;
  }
  return end;
}

}  // namespace

bool is_adts_header(std::span<const uint8_t> bytes) {
  return bytes.size() >= 2 && bytes[0] == 0xFF && (bytes[1] & 0xF6) == 0xF0;
}

AdtsFrames walk_adts_frames(FileStream& stream, uint64_t begin, uint64_t end,
                            const std::function<bool(uint64_t number, uint64_t offset)>& on_frame) {
  BlockReader block(stream);
  AdtsFrames frames{.end = begin};
  const FixedBits fixed = fixed_bits(block.from(begin, kHeaderBytes));
  for (uint64_t offset = begin; offset < end;) {
    const std::span<const uint8_t> header = block.from(offset, kHeaderBytes);
    const size_t length = frame_length(header, fixed);
    if (length == 0) {
      const bool begins_frame = !header.empty() && header[0] == 0xFF;
      const uint64_t next = find_frames(block, fixed, offset + 1, end);
      if (next == end) {
        frames.is_cut = begins_frame && offset == frames.end && end - offset < kHeaderBytes;
        if (!frames.is_cut && !is_tail(block.from(offset, kTailMarkBytes))) frames.add_gap(offset, end);
        return frames;
      }
      if (!begins_tag(block.from(offset, kTagMark.size()))) frames.add_gap(offset, next);
      offset = next;
      continue;
    }
    frames.is_cut = offset + length > end;
    if (frames.is_cut || !on_frame(frames.count + 1, offset)) return frames;
    offset += length;
    frames.end = offset;
    frames.count += block_count(header);
  }
  return frames;
}

}  // namespace zdr::host
