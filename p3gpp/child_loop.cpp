// The one loop over the children of every container below the top level.
#include "p3gpp/child_loop.h"

#include <algorithm>

namespace zdr::p3gpp {
namespace {

const ChildRule* find_child_rule(const ContainerRule& rule, const PathStep& child) {
  const std::string_view type(child.type.data(), 4);
  for (const ChildRule& row : rule.children) {
    if (row.type == type) return &row;
  }
  return nullptr;
}

// What `row` says to do with a parsed child. Replacing a slot frees the earlier box of the type.
void keep_child(const ContainerRule& rule, const ChildRule& row, BoxPayload& payload, BoxSlot child) {
  if (row.keep == Keep::kList) {
    rule.list(payload).push_back(std::move(child));
  } else if (row.keep == Keep::kSlot || child->payload != nullptr) {
    row.slot(payload) = std::move(child);
  }
}

Status skip_child(const ContainerRule& rule, BoxReader& reader, BoxNode& node, const PathStep& child) {
  if (rule.lists_unknown_children) rule.list(*node.payload).emplace_back();
  reader.skip(child.size - kBoxHeaderSize);
  if (reader.status() != P3GPP_OK) reader.context().trail.record(reader.status(), child);
  return reader.status();
}

Status handle_child(const ContainerRule& rule, const ChildRule& row, BoxReader& reader, BoxNode& node,
                    const PathStep& child) {
  BoxSlot kept;
  const Status status = parse_child(reader, node, child, row.parse, row.rest, kept);
  if (status == P3GPP_OK) keep_child(rule, row, *node.payload, std::move(kept));
  return status;
}

}  // namespace

Status read_child_header(BoxReader& reader, const BoxNode& parent, PathStep& child, bool* overruns) {
  ParseContext& context = reader.context();
  child.offset = parent.offset + (parent.size - reader.remaining());
  if (reader.remaining() < kBoxHeaderSize) {
    // Whatever number stands here, a box of that size would not fit.
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
  context.trail.record(P3GPP_ERR_BOX_SIZE, child);
  return P3GPP_ERR_BOX_SIZE;
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
  OpenErrorTrail& trail = body.context().trail;
  const TrailScope scope(trail, box);
  const Status status = guarded([&]() -> Status {
    BoxSlot node = make_node(size, box, parent);
    if (const Status parsed = parse(body, *node); parsed != P3GPP_OK) return parsed;
    if (rest == Rest::kSkipped) body.skip_to_end();
    if (body.status() == P3GPP_OK) result = std::move(node);
    return body.status();
  });
  if (status != P3GPP_OK) trail.record(status);
  return status;
}

Status parse_child(BoxReader& reader, const BoxNode& parent, const PathStep& child, BoxParser parse,
                   Rest rest, BoxSlot& result) {
  const BoxReader body = reader.narrowed(child.size - kBoxHeaderSize);
  return parse_box(body, static_cast<uint32_t>(child.size), child, &parent, parse, rest, result);
}

Status parse_children(const ContainerRule& rule, BoxReader& reader, BoxNode& node) {
  while (reader.remaining() != 0) {
    if (rule.complete != nullptr && rule.complete(*node.payload)) return P3GPP_OK;
    PathStep child;
    bool overruns = false;
    if (const Status status = read_child_header(reader, node, child, &overruns); status != P3GPP_OK) {
      if (overruns && rule.seeks_to_end_on_overrun) reader.skip_to_end();
      return reader.status() != P3GPP_OK ? reader.status() : status;
    }
    const ChildRule* row = find_child_rule(rule, child);
    if (row != nullptr && row->keep == Keep::kEndsContainer) {
      node.payload.reset();  // the box stays in the tree, empty
      return P3GPP_OK;
    }
    const size_t listed = rule.list == nullptr ? 0 : rule.list(*node.payload).size();
    if (row != nullptr && row->keep == Keep::kList) child.ordinal = static_cast<uint32_t>(listed + 1);
    const Status status = row == nullptr ? skip_child(rule, reader, node, child)
                                         : handle_child(rule, *row, reader, node, child);
    if (status == P3GPP_OK) continue;
    // A damaged track behind a sound one costs the file only the rest of its tracks.
    const bool tolerated = rule.tolerates_later_failure && child.ordinal > 1;
    return tolerated ? P3GPP_OK : status;
  }
  return P3GPP_OK;
}

}  // namespace zdr::p3gpp
