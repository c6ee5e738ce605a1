// Steps from header to header.
#include "host/inspect/aac/adts_frames.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace zdr::host {
namespace {

constexpr size_t kHeaderBytes = AdtsHeader::kBytes;

// The header that begins here, if it belongs to the stream. The reader, too, skips frames with other headers.
std::optional<AdtsHeader> read_header(Bytes bytes, const AdtsHeader::FixedBits& fixed_bits) {
  const auto header = read_adts_header(bytes);
  const bool is_of_stream =
      header && header->fixed_bits == fixed_bits && header->frame_length >= AdtsHeader::kBytes;
  return is_of_stream ? header : std::nullopt;
}

bool begins_with(Bytes bytes, std::string_view mark) {
  return bytes.size() >= mark.size() && std::equal(mark.begin(), mark.end(), bytes.begin());
}

constexpr size_t kApeHeaderBytes = 32;
constexpr size_t kId3HeaderBytes = 10;
constexpr std::string_view kId3Mark = "ID3";

uint64_t read_le32(Bytes bytes, size_t offset) {
  uint64_t value = 0;
  for (size_t i = 4; i-- > 0;) value = value << 8 | bytes[offset + i];
  return value;
}

uint64_t ape_tag_size(Bytes header) {
  constexpr size_t kVersionOffset = 8;
  constexpr size_t kSizeOffset = 12;  // of the items and the footer
  if (header.size() < kApeHeaderBytes || !begins_with(header, "APETAGEX")) return 0;
  const uint64_t version = read_le32(header, kVersionOffset);
  return version == 1000 || version == 2000 ? kApeHeaderBytes + read_le32(header, kSizeOffset) : 0;
}

uint64_t id3_tag_size(Bytes header) {
  constexpr size_t kVersionOffset = 3;
  constexpr size_t kFlagsOffset = 5;
  constexpr unsigned kHasFooter = 0x10;
  if (header.size() < kId3HeaderBytes || !begins_with(header, kId3Mark)) return 0;
  if (header[kVersionOffset] < 2 || header[kVersionOffset] > 4) return 0;
  uint64_t size = 0;
  for (size_t i = kFlagsOffset + 1; i < kId3HeaderBytes; ++i) {
    if (header[i] > 0x7F) return 0;  // seven bits a byte, so that a size never looks like a frame
    size = size << 7 | header[i];
  }
  return kId3HeaderBytes + size + ((header[kFlagsOffset] & kHasFooter) != 0 ? kId3HeaderBytes : 0);
}

// The size of the tag that begins here, by its header; 0 if none does. Some streams have further ID3v2 tags
// between frames, and tags of both kinds follow the last one.
uint64_t tag_size(Bytes header) {
  return std::max(id3_tag_size(header), ape_tag_size(header));
}

// The most zeros that are taken for padding. More may be the reserved space of an unfinished download: more
// than the largest frame, and than 2 % of the stream or what the size of a frame can state.
uint64_t most_padding(uint64_t stream_bytes, uint64_t largest_frame) {
  constexpr uint64_t kPartOfStream = 50;
  return std::max(largest_frame, std::min<uint64_t>(AdtsHeader::kLargestFrame, stream_bytes / kPartOfStream));
}

// Returns the offset after tags and the padding around them; `end` if there is nothing else.
uint64_t skip_tags(BlockReader& block, uint64_t begin, uint64_t end, uint64_t most_padding_bytes) {
  for (uint64_t offset = begin;;) {
    const auto most = static_cast<size_t>(std::min(end - offset, most_padding_bytes));
    const Bytes bytes = block.from(offset, most);
    const Bytes padded = bytes.first(std::min(bytes.size(), most));
    const auto data = std::ranges::find_if(padded, [](uint8_t byte) { return byte != 0; });
    const uint64_t after = offset + static_cast<uint64_t>(data - padded.begin());
    if (after == end) return end;
    const uint64_t tag = tag_size(block.from(after, kApeHeaderBytes));
    if (tag == 0) return offset;
    if (tag >= end - after) return end;
    offset = after + tag;
  }
}

// True if only zeros follow a complete last frame: padding, even if there are many. The last byte of a frame
// holds at least a part of its end element, and so is not zero; but where a download stopped, the zeros begin
// inside a frame. More than a quarter of the stream is taken for missing frames.
bool is_padding(BlockReader& block, const AdtsFrames& frames, uint64_t begin, uint64_t end) {
  constexpr uint64_t kPartOfStream = 4;
  const uint64_t zeros = end - frames.end;
  if (frames.count == 0 || zeros > (end - begin) / kPartOfStream) return false;
  const Bytes last = block.from(frames.end - 1, 1);
  if (last.empty() || last[0] == 0) return false;
  for (uint64_t offset = frames.end; offset < end;) {
    const Bytes bytes = block.from(offset, 1);
    const Bytes padding = bytes.first(static_cast<size_t>(std::min<uint64_t>(bytes.size(), end - offset)));
    if (padding.empty() || std::ranges::any_of(padding, [](uint8_t byte) { return byte != 0; })) return false;
    offset += padding.size();
  }
  return true;
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
  uint64_t largest = 0;
  for (uint64_t offset = begin; offset < end;) {
    const Bytes bytes = block.from(offset, kHeaderBytes);
    const auto header = read_header(bytes, fixed);
    if (!header) {
      const bool begins_frame = !bytes.empty() && bytes[0] == 0xFF;
      const uint64_t next = find_frames(block, fixed, offset + 1, end);
      if (next == end) {
        frames.is_cut = begins_frame && offset == frames.end && end - offset < kHeaderBytes;
        if (frames.is_cut) return frames;
      }
      // The reader, too, skips ID3v2 tags only.
      const bool may_be_tags = next == end || begins_with(block.from(offset, kId3HeaderBytes), kId3Mark);
      const uint64_t gap =
          may_be_tags ? skip_tags(block, offset, next, most_padding(end - begin, largest)) : offset;
      if (next == end && gap == frames.end && is_padding(block, frames, begin, end)) {
        frames.padding_bytes = end - gap;
        return frames;
      }
      if (gap < next) frames.add_gap(gap, next);
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
    largest = std::max<uint64_t>(largest, header->frame_length);
  }
  return frames;
}

}  // namespace zdr::host
