// The item list of a movie, moov/udta/meta/ilst: iTunes-style tags.
#pragma once

#include "p3gpp/parse/box_reader.h"
#include "p3gpp/parse/box_rules.h"

namespace zdr::p3gpp {

// Rows: the items, whose parsers read the value alone. Their slots are those of the user data.
extern const ContainerRule kItemListRule;

// meta in the user data; the items it holds are stored in the payload of node.parent. Every failure inside is
// P3GPP_ERR_GENERIC.
Status parse_user_meta(BoxReader& reader, BoxNode& node);

}  // namespace zdr::p3gpp
