// Reads at most 16 bytes per box.
#include "host/inspect/iso/box_headers.h"

#include <algorithm>
#include <span>

#include "host/formats/byte_order.h"

namespace zdr::host {
namespace {

constexpr uint32_t kShortHeader = 8;
constexpr uint32_t kLongHeader = 16;

}  // namespace

std::optional<BoxHeader> read_box_header(FileStream& stream, uint64_t offset, uint64_t end) {
  std::array<uint8_t, kLongHeader> bytes{};
  const auto wanted = static_cast<size_t>(std::min<uint64_t>(kLongHeader, end - offset));
  const size_t got = stream.read_at(offset, std::span(bytes).first(wanted));
  if (got < kShortHeader) return std::nullopt;
  BoxHeader box{offset, read_be(bytes.data(), 4), kShortHeader, {}};
  std::copy_n(bytes.begin() + 4, box.type.size(), box.type.begin());
  if (box.size == 1) {
    if (got < kLongHeader) return std::nullopt;
    box.size = read_be(bytes.data() + kShortHeader, 8);
    box.header_size = kLongHeader;
  } else if (box.size == 0) {
    box.size = end - offset;
  }
  return box.size >= box.header_size ? std::optional(box) : std::nullopt;
}

WalkEnd walk_box_headers(FileStream& stream, uint64_t begin, uint64_t end,
                         const std::function<bool(const BoxHeader&)>& visit) {
  uint64_t offset = begin;
  while (offset < end) {
    const std::optional<BoxHeader> box = read_box_header(stream, offset, end);
    if (!box || box->size > end - offset) return {offset, false};
    offset = box->end();
    if (!visit(*box)) break;
  }
  return {offset, offset == end};
}

}  // namespace zdr::host
