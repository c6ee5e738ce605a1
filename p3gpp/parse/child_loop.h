// Reads the children of a container by its rule.
//
// Every child is parsed by a reader narrowed to it. The container's own position advances by the sizes that
// the headers claim, no matter what the parsers read: a child whose parser stops early leaves the stream
// short of that position, and the next header is read from the stream's position. Files rely on that
// (docs/kept-behaviours.md), so nothing seeks to an absolute position here.
#pragma once

#include "p3gpp/parse/box_node.h"
#include "p3gpp/parse/box_reader.h"
#include "p3gpp/parse/box_rules.h"

namespace zdr::p3gpp {

// Reads the header of the next child of `parent`. `reader` is the parent's, at the child's first byte. A size
// below 8 or beyond the parent returns P3GPP_ERR_BOX_SIZE, with `child` filled. If `overruns` is not null, it
// receives whether the child is too long, and the caller decides whether to record or to tolerate that.
Status read_child_header(BoxReader& reader, const BoxNode& parent, PathStep& child, bool* overruns = nullptr);

// Records `status` for `child`, whose body was not read, shows the child as refused, and returns `status`.
Status refuse_child(ParseContext& context, const PathStep& child, Status status);

// Skips the body of a child whose header was just read.
Status skip_child(BoxReader& reader, const PathStep& child);

// Makes a node without payload; `size` is the 32-bit size field.
BoxSlot make_node(uint32_t size, const PathStep& box, const BoxNode* parent);

// Parses the body of a box, whose header was just read, into a new node. Returns P3GPP_ERR_NO_MEMORY if an
// allocation fails.
Status parse_box(BoxReader body, uint32_t size, const PathStep& box, const BoxNode* parent, BoxParser parse,
                 Rest rest, BoxSlot& result);

// The same for a child of `parent`.
Status parse_child(BoxReader& reader, const BoxNode& parent, const PathStep& child, BoxParser parse,
                   Rest rest, BoxSlot& result);

// Reads children into node.payload, which is the record of `rule`, up to the end of the reader. Drops the
// payload on failure.
Status parse_children(const ContainerRule& rule, BoxReader& reader, BoxNode& node);

// Parses a container that has no fields of its own: makes its payload and reads its children.
template <const ContainerRule& kRule>
Status parse_container(BoxReader& reader, BoxNode& node) {
  node.payload = kRule.make_payload();
  return parse_children(kRule, reader, node);
}

}  // namespace zdr::p3gpp
