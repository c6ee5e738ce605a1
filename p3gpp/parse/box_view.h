// Shows boxes to a visitor from outside: those of a finished tree, or each one as soon as it is parsed.
#ifndef ZDR_P3GPP_BOX_VIEW_H
#define ZDR_P3GPP_BOX_VIEW_H

#include "p3gpp/boxes/box_tree.h"
#include "p3gpp/parse/box_reader.h"
#include "p3gpp/parse/status.h"

namespace zdr::p3gpp {

// Shows `node`, which `context.trail` was entered for last, if there is a visitor. Fields only after success.
void show_parsed_box(const ParseContext& context, const BoxNode& node, Status status);

// Shows a child of that box of which only the header was read, as skipped or (with a failure) as refused.
void show_unread_box(const ParseContext& context, const PathStep& box, Status status);

// Parents first, in slot order. May throw bad_alloc.
void walk_boxes(const P3gppFile& file, const P3gppBoxVisitor& visitor);

}  // namespace zdr::p3gpp

#endif
