// Passes boxes to a visitor: those of a finished tree, or each one as soon as it is parsed.
#pragma once

#include "p3gpp/parse/box_node.h"
#include "p3gpp/parse/parse_context.h"
#include "p3gpp/parse/status.h"

namespace zdr::p3gpp {

// Shows `node`, the box that `context.trail` entered last, if there is a visitor. Its fields are shown only
// if `status` is P3GPP_OK.
void show_parsed_box(const ParseContext& context, const BoxNode& node, Status status);

// Shows a child of that box whose body was not read: as skipped, or as refused if `status` is an error.
void show_unread_box(const ParseContext& context, const PathStep& box, Status status);

// Shows `top` and every box stored below it: parents first, in slot order. May throw bad_alloc.
void walk_boxes(const BoxNode& top, const P3gppBoxVisitor& visitor);

}  // namespace zdr::p3gpp
