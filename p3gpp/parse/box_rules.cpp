// Visits the stored children of a node and finds the row of a child, both by the rule of the container.
#include "p3gpp/parse/box_rules.h"

namespace zdr::p3gpp {
namespace {

void visit_slots(const ContainerRule& rule, BoxPayload& payload, std::string_view inner_path,
                 const std::function<void(const StoredChild&)>& visit) {
  for (const ChildRule& row : rule.children) {
    if (row.slot == nullptr) continue;
    const BoxSlot& child = row.slot(payload);
    // Several types may share a slot.
    if (child && (row.type.empty() || child->is(row.type))) visit({*child, 0, inner_path});
  }
}

}  // namespace

void for_each_stored_child(const BoxNode& node, const std::function<void(const StoredChild&)>& visit) {
  const ContainerRule* rule = node.container;
  if (rule == nullptr || !node.payload) return;
  visit_slots(*rule, *node.payload, {}, visit);
  if (rule->inner != nullptr) visit_slots(*rule->inner, *node.payload, rule->inner_path, visit);
  if (rule->list == nullptr) return;
  uint32_t ordinal = 0;
  for (const BoxSlot& member : rule->list(*node.payload)) {
    ++ordinal;
    if (member) visit({*member, ordinal});
  }
}

const ChildRule* find_child_rule(const ContainerRule& rule, const PathStep& child) {
  for (const ChildRule& row : rule.children) {
    if (child.is(row.type)) return &row;
  }
  return nullptr;
}

}  // namespace zdr::p3gpp
