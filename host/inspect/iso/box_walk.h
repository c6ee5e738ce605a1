// Walks a completed tree of boxes, or only the branches that a path names.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "host/inspect/iso/box_details.h"
#include "host/inspect/iso/box_tree.h"

namespace zdr::host {

// What the output of a box depends on besides the box.
struct BoxContext {
  std::string_view container;  // type of the box around it; empty at the top
  std::optional<uint64_t> movie_time_scale;
  std::optional<uint64_t> media_time_scale;
};

// Receives the boxes in file order, each before its children.
class BoxSink {
 public:
  virtual ~BoxSink() = default;
  virtual void begin_box(const BoxRecord& box, const BoxContext& context) = 0;
  virtual void end_box(const BoxRecord& box) = 0;
};

// Passes the fields and entries of a box: those of the parser, and those that the layout of the box adds or
// has instead. Their values point into the tree.
void describe_box(const BoxTree& tree, const BoxRecord& box, std::string_view container,
                  const EntryChoice& choice, FieldSink& sink);

// Passes the boxes to the sink; with a path only the boxes that it names, and what is in them. A step of the
// path without a number, "moov/trak", matches every number. Returns the number of boxes that the path
// names. Allocates no memory.
size_t walk_tree(const BoxTree& tree, std::string_view path, BoxSink& sink);

}  // namespace zdr::host
