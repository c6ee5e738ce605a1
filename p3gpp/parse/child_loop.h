// Reads the children of a container by its rule.
//
// Every child is parsed by a reader narrowed to it. The container's own position advances by the sizes that
// the headers claim, whatever the parsers read: a child whose parser stops early leaves the stream behind,
// and what is read next as a header is then whatever stands there. Files rely on that
// (docs/kept-behaviours.md), so nothing seeks to an absolute position here.
#ifndef ZDR_P3GPP_CHILD_LOOP_H
#define ZDR_P3GPP_CHILD_LOOP_H

#include "p3gpp/boxes/box_tree.h"
#include "p3gpp/parse/box_reader.h"
#include "p3gpp/parse/box_rules.h"

namespace zdr::p3gpp {

// Reads the header of the next child of `parent`, whose reader stands at a child's first byte. A size below 8
// or beyond the parent gives P3GPP_ERR_BOX_SIZE; `child` is then filled. With `overruns` the second case is
// told there, and left to the caller to record as an error or to tolerate.
Status read_child_header(BoxReader& reader, const BoxNode& parent, PathStep& child, bool* overruns = nullptr);

// Blames and shows `child`, of which only the header was read, for `status`, and returns that.
Status refuse_child(ParseContext& context, const PathStep& child, Status status);

// Passes over the body of a child whose header was just read.
Status skip_child(BoxReader& reader, const PathStep& child);

// A node without payload; `size` is the 32-bit field.
BoxSlot make_node(uint32_t size, const PathStep& box, const BoxNode* parent);

// Parses the body of a box, whose header was just read, into a new node. Out of memory becomes a status here.
Status parse_box(BoxReader body, uint32_t size, const PathStep& box, const BoxNode* parent, BoxParser parse,
                 Rest rest, BoxSlot& result);

// The same for a child of `parent`.
Status parse_child(BoxReader& reader, const BoxNode& parent, const PathStep& child, BoxParser parse,
                   Rest rest, BoxSlot& result);

// Reads children into node.payload, which is the record of `rule`, until the reader's end.
Status parse_children(const ContainerRule& rule, BoxReader& reader, BoxNode& node);

// A whole container without fields of its own: makes its payload and reads its children.
template <const ContainerRule& kRule>
Status parse_container(BoxReader& reader, BoxNode& node) {
  node.payload = kRule.make_payload();
  const Status status = parse_children(kRule, reader, node);
  if (status != P3GPP_OK) node.payload.reset();
  return status;
}

}  // namespace zdr::p3gpp

#endif
