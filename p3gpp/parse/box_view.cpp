// Walks the tree and fills the public record of each box.
#include "p3gpp/parse/box_view.h"

#include <string>

#include "p3gpp/parse/box_fields.h"
#include "p3gpp/parse/box_rules.h"
#include "p3gpp/parse/open_error.h"

namespace zdr::p3gpp {
namespace {

void show(const P3gppBoxVisitor& visitor, const BoxNode& node, const char* path, Status status) {
  P3gppBox box{.path = path,
               .type = {},
               .version = node.version,
               .flags = uint32_t{node.flags[0]} << 16 | uint32_t{node.flags[1]} << 8 | node.flags[2],
               .size = node.size,
               .offset = node.offset,
               .disposition = P3GPP_BOX_READ,
               .status = status};
  node.type_name().copy(box.type, 4);
  visitor.box(visitor.caller, &box);
  if (visitor.field == nullptr || status != P3GPP_OK || !node.payload) return;
  BoxFields fields(visitor);
  node.payload->describe(node, fields);
}

std::string child_path(const std::string& parent, const StoredChild& child) {
  std::string path = parent + "/";
  if (!child.inner_path.empty()) path.append(child.inner_path).append("/");
  return path + step_text({.type = child.node.type, .ordinal = child.ordinal}).c_str();
}

void walk(const BoxNode& node, const std::string& path, const P3gppBoxVisitor& visitor) {
  show(visitor, node, path.c_str(), P3GPP_OK);
  for_each_stored_child(
      node, [&](const StoredChild& child) { walk(child.node, child_path(path, child), visitor); });
}

}  // namespace

void show_parsed_box(const ParseContext& context, const BoxNode& node, Status status) {
  if (context.visitor != nullptr) show(*context.visitor, node, context.trail.path().c_str(), status);
}

void show_unread_box(const ParseContext& context, const PathStep& box, Status status) {
  if (context.visitor == nullptr) return;
  const PathText path = context.trail.path_of(box);
  P3gppBox shown{.path = path.c_str(),
                 .type = {},
                 .version = 0,
                 .flags = 0,
                 .size = box.size,
                 .offset = box.offset,
                 .disposition = status == P3GPP_OK ? P3GPP_BOX_SKIPPED : P3GPP_BOX_REFUSED,
                 .status = status};
  box.type_name().copy(shown.type, 4);
  context.visitor->box(context.visitor->caller, &shown);
}

void walk_boxes(const BoxNode& top, const P3gppBoxVisitor& visitor) {
  walk(top, std::string(top.type_name()), visitor);
}

}  // namespace zdr::p3gpp
