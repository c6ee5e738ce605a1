// Completes the tree of the parser's boxes: adds the boxes that the parser skipped or never reached, up to
// the end of the file, the gaps between boxes, and the contents that box_details.h describes.
#pragma once

#include <cstdint>
#include <optional>

#include "host/inspect/files/file_stream.h"
#include "host/inspect/iso/box_details.h"
#include "host/inspect/iso/box_tree.h"

namespace zdr::host {

// What is not in a completed tree.
struct LeftOutBoxes {
  std::optional<uint64_t> offset;  // from which on boxes are missing because the tree is full
  bool are_deep = false;           // boxes deeper than kMostBoxLevels are missing
};
inline constexpr unsigned kMostBoxLevels = 16;

// Throws std::bad_alloc. Where the file cannot be read, the failure is logged.
LeftOutBoxes complete_tree(BoxTree& tree, FileStream& stream, const EntryChoice& choice);

}  // namespace zdr::host
