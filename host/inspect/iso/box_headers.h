// Walks the headers of the boxes in a part of a file (ISO/IEC 14496-12, 4.2), which the parser does only as
// far as it needs them.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>

#include "host/inspect/files/file_stream.h"

namespace zdr::host {

struct BoxHeader {
  uint64_t offset;
  uint64_t size;         // of the box, resolved: never 0 or 1
  uint32_t header_size;  // 8 or 16 bytes
  std::array<char, 4> type;

  std::string_view name() const { return {type.data(), type.size()}; }
  uint64_t end() const { return offset + size; }
};

// Reads the header of the box at `offset`, which may claim to extend past `end`. Returns nothing if there is
// no room for a header, if the box is shorter than its header, and where the file cannot be read.
std::optional<BoxHeader> read_box_header(FileStream& stream, uint64_t offset, uint64_t end);

// Where a walk ended.
struct WalkEnd {
  uint64_t offset;   // of the first byte that belongs to no box
  bool is_complete;  // the walk reached `end`
};

// Calls `visit` for each box from `begin` on; returning false ends the walk. Stops at a box that is shorter
// than its header or extends past `end`, and where the file cannot be read.
WalkEnd walk_box_headers(FileStream& stream, uint64_t begin, uint64_t end,
                         const std::function<bool(const BoxHeader&)>& visit);

}  // namespace zdr::host
