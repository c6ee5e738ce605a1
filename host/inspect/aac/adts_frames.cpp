// Steps from header to header.
#include "host/inspect/aac/adts_frames.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace zdr::host {
namespace {

constexpr size_t kHeaderBytes = AdtsHeader::kBytes;
constexpr std::string_view kTagMark = "ID3";
constexpr size_t kTailMarkBytes = 8;

// The header that begins here, if it belongs to the stream. The reader, too, skips frames with other headers.
std::optional<AdtsHeader> read_header(Bytes bytes, const AdtsHeader::FixedBits& fixed_bits) {
  const auto header = read_adts_header(bytes);
  const bool is_of_stream =
      header && header->fixed_bits == fixed_bits && header->frame_length >= AdtsHeader::kBytes;
  return is_of_stream ? header : std::nullopt;
}

// Some streams have further ID3v2 tags between frames.
bool begins_tag(Bytes bytes) {
  return bytes.size() >= kTagMark.size() && std::equal(kTagMark.begin(), kTagMark.end(), bytes.begin());
}

// What may follow the last frame: padding, or a tag of another kind.
bool is_tail(Bytes bytes) {
  const Bytes mark = bytes.first(std::min(bytes.size(), kTailMarkBytes));
  const auto is_zero = [](uint8_t byte) { return byte == 0; };
  return std::ranges::all_of(mark, is_zero) || std::ranges::equal(mark, std::string_view("APETAGEX")) ||
         begins_tag(bytes);
}

// Returns the offset of the next frame that is directly followed by another, or `end`.
uint64_t find_frames(BlockReader& block, const AdtsHeader::FixedBits& fixed, uint64_t begin, uint64_t end) {
  for (uint64_t offset = begin; offset + 2 * kHeaderBytes <= end; ++offset) {
    const Bytes bytes = block.from(offset, kHeaderBytes);
    if (bytes.size() < kHeaderBytes) return end;  // the file ends, or cannot be read
    const auto header = read_header(bytes, fixed);
    if (!header) continue;
    const uint64_t next = offset + header->frame_length;
    if (next + kHeaderBytes <= end && read_header(block.from(next, kHeaderBytes), fixed)) return offset;
  }
  return end;
}

}  // namespace

AdtsFrames walk_adts_frames(
    FileStream& stream, uint64_t begin, uint64_t end,
    const std::function<bool(uint64_t number, uint64_t offset, uint32_t size)>& on_frame) {
  BlockReader block(stream);
  AdtsFrames frames{.end = begin};
  const auto first = read_adts_header(block.from(begin, kHeaderBytes));
  const AdtsHeader::FixedBits fixed = first ? first->fixed_bits : AdtsHeader::FixedBits{};
  for (uint64_t offset = begin; offset < end;) {
    const Bytes bytes = block.from(offset, kHeaderBytes);
    const auto header = read_header(bytes, fixed);
    if (!header) {
      const bool begins_frame = !bytes.empty() && bytes[0] == 0xFF;
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
    frames.is_cut = offset + header->frame_length > end;
    const auto size = static_cast<uint32_t>(header->frame_length);
    if (frames.is_cut || !on_frame(frames.count + 1, offset, size)) return frames;
    offset += header->frame_length;
    frames.end = offset;
    frames.count += header->blocks;
    frames.bytes += header->frame_length;
  }
  return frames;
}

}  // namespace zdr::host
