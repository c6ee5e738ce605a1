// Reads the file in large blocks and steps from header to header within them.
#include "host/inspect/adts_frames.h"

#include <algorithm>
#include <string_view>
#include <vector>

namespace zdr::host {
namespace {

constexpr size_t kBlockBytes = 256 * 1024;
constexpr size_t kHeaderBytes = 7;
constexpr std::string_view kTagMark = "ID3";

// A window into the file.
class Block {
 public:
  explicit Block(FileStream& stream) : stream_(stream) {}

  // The bytes from `offset` on, at least `count` of them unless the file ends earlier.
  std::span<const uint8_t> from(uint64_t offset, size_t count) {
    if (offset < begin_ || offset + count > begin_ + bytes_.size()) load(offset);
    return std::span(bytes_).subspan(std::min<uint64_t>(offset - begin_, bytes_.size()));
  }

 private:
  void load(uint64_t offset) {
    bytes_.resize(kBlockBytes);
    bytes_.resize(stream_.read_at(offset, bytes_));
    begin_ = offset;
  }

  FileStream& stream_;
  std::vector<uint8_t> bytes_;
  uint64_t begin_ = 0;
};

// 0 unless a header begins here.
size_t frame_length(std::span<const uint8_t> bytes) {
  if (bytes.size() < kHeaderBytes || !is_adts_header(bytes)) return 0;
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

// Returns the offset of the next frame that another one follows at once, or `end`.
uint64_t find_frames(Block& block, uint64_t begin, uint64_t end) {
  for (uint64_t offset = begin; offset + 2 * kHeaderBytes <= end; ++offset) {
    const std::span<const uint8_t> bytes = block.from(offset, kHeaderBytes);
    if (bytes.size() < kHeaderBytes) return end;  // the file ends, or cannot be read
    const size_t length = frame_length(bytes);
    if (length != 0 && offset + length + kHeaderBytes <= end &&
        frame_length(block.from(offset + length, kHeaderBytes)) != 0)
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
  Block block(stream);
  AdtsFrames frames{.end = begin};
  for (uint64_t offset = begin; offset < end;) {
    const std::span<const uint8_t> header = block.from(offset, kHeaderBytes);
    const size_t length = frame_length(header);
    if (length == 0) {
      const bool begins_frame = !header.empty() && header[0] == 0xFF;
      const uint64_t next = find_frames(block, offset + 1, end);
      if (next == end) {
        frames.is_cut = begins_frame && offset == frames.end && end - offset < kHeaderBytes;
        return frames;
      }
      if (!begins_tag(block.from(offset, kTagMark.size()))) {
        if (frames.gap_bytes == 0) frames.gap_offset = offset;
        frames.gap_bytes += next - offset;
      }
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
