// The one loop over the children of every container below the top level.
#include "p3gpp/parse/child_loop.h"

#include <algorithm>

#include "p3gpp/parse/box_view.h"

namespace zdr::p3gpp {
namespace {

// Stores a parsed child where `row` says. Replacing a slot frees the earlier box of the type.
void store_child(const ContainerRule& rule, const ChildRule& row, BoxNode& node, BoxSlot child) {
  if (row.action == ChildAction::kNothing) return;
  if (row.action == ChildAction::kList) {
    rule.list(*node.payload).push_back(std::move(child));
  } else if (row.action == ChildAction::kSlot || child->payload) {
    row.slot(*node.payload) = std::move(child);
  }
}

// Kept: a full box begins with 12 bytes, of which the container counts only 4.
Status open_in_place(BoxReader& reader) {
  reader.skip(kFullBoxHeaderSize - kBoxHeaderSize);
  reader.uncount(kBoxHeaderSize);
  return reader.status();
}

Status skip_unknown_child(const ContainerRule& rule, BoxReader& reader, BoxNode& node, PathStep& child) {
  if (rule.lists_unknown_children) {
    // Kept: a sample entry of unknown type adds an empty entry, so that the others retain their numbers.
    BoxList& list = rule.list(*node.payload);
    list.emplace_back();
    child.ordinal = static_cast<uint32_t>(list.size());
  }
  return skip_child(reader, child);
}

Status handle_child(const ContainerRule& rule, const ChildRule& row, BoxReader& reader, BoxNode& node,
                    const PathStep& child) {
  BoxSlot parsed;
  const Status status = parse_child(reader, node, child, row.parse, row.rest, parsed);
  if (status == P3GPP_OK) store_child(rule, row, node, std::move(parsed));
  return status;
}

}  // namespace

Status read_child_header(BoxReader& reader, const BoxNode& parent, PathStep& child, bool* overruns) {
  ParseContext& context = reader.context();
  child.offset = parent.offset + (parent.size - reader.remaining()) + reader.uncounted();
  if (reader.remaining() < kBoxHeaderSize) {
    // No box fits into the rest of the container.
    const Status status = context.left_in_file() < kBoxHeaderSize ? P3GPP_ERR_READ : P3GPP_ERR_BOX_SIZE;
    context.trail.record(status);
    return status;
  }
  const auto header = reader.read_array<kBoxHeaderSize>();
  if (reader.status() != P3GPP_OK) {
    context.trail.record(reader.status());
    return reader.status();
  }
  child.size = load_be32(header.data());
  std::copy_n(header.begin() + 4, 4, child.type.begin());
  const bool runs_past_end = child.size > reader.remaining() + kBoxHeaderSize;
  if (overruns != nullptr) *overruns = runs_past_end;
  if (child.size >= kBoxHeaderSize && !runs_past_end) return P3GPP_OK;
  const bool caller_decides = overruns != nullptr && runs_past_end;
  return caller_decides ? P3GPP_ERR_BOX_SIZE : refuse_child(context, child, P3GPP_ERR_BOX_SIZE);
}

Status refuse_child(ParseContext& context, const PathStep& child, Status status) {
  context.trail.record(status, child);
  show_unread_box(context, child, status);
  return status;
}

Status skip_child(BoxReader& reader, const PathStep& child) {
  reader.skip(child.size - kBoxHeaderSize);
  if (reader.status() != P3GPP_OK) return refuse_child(reader.context(), child, reader.status());
  show_unread_box(reader.context(), child, P3GPP_OK);
  return P3GPP_OK;
}

BoxSlot make_node(uint32_t size, const PathStep& box, const BoxNode* parent) {
  auto node = std::make_unique<BoxNode>();
  node->size = size;
  node->type = box.type;
  node->offset = box.offset;
  node->parent = parent;
  return node;
}

Status parse_box(BoxReader body, uint32_t size, const PathStep& box, const BoxNode* parent, BoxParser parse,
                 Rest rest, BoxSlot& result) {
  ParseContext& context = body.context();
  const TrailScope scope(context.trail, box);
  BoxSlot node;
  const Status status = guarded([&]() -> Status {
    node = make_node(size, box, parent);
    if (const Status parsed = parse(body, *node); parsed != P3GPP_OK) return parsed;
    if (rest == Rest::kSkipped) body.skip_to_end();
    return body.status();
  });
  if (status != P3GPP_OK) context.trail.record(status);
  if (node) show_parsed_box(context, *node, status);
  if (status == P3GPP_OK) result = std::move(node);
  return status;
}

Status parse_child(BoxReader& reader, const BoxNode& parent, const PathStep& child, BoxParser parse,
                   Rest rest, BoxSlot& result) {
  const BoxReader body = reader.narrowed(child.size - kBoxHeaderSize);
  return parse_box(body, static_cast<uint32_t>(child.size), child, &parent, parse, rest, result);
}

namespace {

// Handles a child header that could not be read or has an invalid size: ends the container or fails it.
Status handle_bad_header(const ContainerRule& rule, BoxReader& reader, const PathStep& child, bool overruns,
                         Status status) {
  if (!overruns) return status;
  if (rule.overrun == Overrun::kEndsContainer) {
    show_unread_box(reader.context(), child, status);  // not recorded as an error
  } else {
    refuse_child(reader.context(), child, status);
  }
  if (rule.overrun == Overrun::kFails) return status;
  reader.skip_to_end();
  if (reader.status() != P3GPP_OK) return reader.status();
  return rule.overrun == Overrun::kEndsContainer ? P3GPP_OK : status;
}

bool is_at_end(const ContainerRule& rule, const BoxReader& reader, const BoxNode& node) {
  if (reader.remaining() == 0) return true;
  if (rule.allows_short_tail && reader.remaining() < kBoxHeaderSize) return true;
  return rule.complete != nullptr && rule.complete(*node.payload);
}

// `row` is null if the type of the child has none.
Status read_child(const ContainerRule& rule, const ChildRule* row, BoxReader& reader, BoxNode& node,
                  PathStep& child) {
  if (row == nullptr) return skip_unknown_child(rule, reader, node, child);
  if (row->action == ChildAction::kOpensInPlace) return open_in_place(reader);
  if (row->action == ChildAction::kList) {
    const size_t listed = rule.list(*node.payload).size();
    child.ordinal = static_cast<uint32_t>(listed + 1);
    if (listed >= kMaxListed) return refuse_child(reader.context(), child, P3GPP_ERR_OUT_OF_RANGE);
  }
  return handle_child(rule, *row, reader, node, child);
}

Status read_children(const ContainerRule& rule, BoxReader& reader, BoxNode& node) {
  while (!is_at_end(rule, reader, node)) {
    PathStep child;
    bool overruns = false;
    const Status header = read_child_header(reader, node, child, &overruns);
    if (header != P3GPP_OK) return handle_bad_header(rule, reader, child, overruns, header);
    const ChildRule* row = find_child_rule(rule, child);
    if (row != nullptr && row->action == ChildAction::kEndsContainer) {
      show_unread_box(reader.context(), child, P3GPP_OK);
      node.payload.reset();  // the box stays in the tree without payload
      return P3GPP_OK;
    }
    const Status status = read_child(rule, row, reader, node, child);
    if (status == P3GPP_OK) continue;
    // Kept: a damaged track after a sound one ends moov with success; later boxes of moov are not read.
    const bool tolerated = rule.tolerates_later_failure && child.ordinal > 1;
    return tolerated ? P3GPP_OK : status;
  }
  return P3GPP_OK;
}

}  // namespace

Status parse_children(const ContainerRule& rule, BoxReader& reader, BoxNode& node) {
  node.container = &rule;
  const Status status = read_children(rule, reader, node);
  if (status != P3GPP_OK) node.payload.reset();
  return status;
}

}  // namespace zdr::p3gpp
