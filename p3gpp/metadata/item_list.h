// The item list of a movie, moov/udta/meta/ilst, iTunes-style tags: ©nam, ©alb, ©ART, ©art, ©wrt, ©gen, ©day,
// cpil, cprt, desc, aART, gnre, trkn, disk, covr, each with a data atom; and free-form items (----: mean,
// name, data), of which only gnid is stored.
#pragma once

#include "p3gpp/parse/box_reader.h"
#include "p3gpp/parse/box_rules.h"

namespace zdr::p3gpp {

// One row per item type. The parsers read only the value; the slots are those of the user data.
extern const ContainerRule kItemListRule;

// Parses the meta box of the user data and stores its items in the payload of node.parent. Returns
// P3GPP_ERR_GENERIC for every failure inside.
Status parse_user_meta(BoxReader& reader, BoxNode& node);

}  // namespace zdr::p3gpp
