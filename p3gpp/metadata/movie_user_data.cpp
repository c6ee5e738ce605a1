// The children that moov/udta recognises (ISO/IEC 14496-12, 8.10.1; 3GPP TS 26.244, clause 8).
#include "p3gpp/metadata/movie_user_data.h"

#include <array>

#include "p3gpp/metadata/asset_boxes.h"
#include "p3gpp/metadata/item_list.h"
#include "p3gpp/metadata/tag_slots.h"
#include "p3gpp/parse/child_loop.h"

namespace zdr::p3gpp {
namespace {

constexpr std::array kMovieUdtaChildren{
    in_tag_slot<P3GPP_TAG_TITLE>("titl", parse_asset_text),
    in_tag_slot<P3GPP_TAG_DESCRIPTION>("dscp", parse_asset_text),
    in_tag_slot<P3GPP_TAG_COPYRIGHT>("cprt", parse_asset_text),
    in_tag_slot<P3GPP_TAG_PERFORMER>("perf", parse_asset_text),
    in_tag_slot<P3GPP_TAG_AUTHOR>("auth", parse_asset_text),
    in_tag_slot<P3GPP_TAG_GENRE>("gnre", parse_asset_text),
    in_tag_slot<P3GPP_TAG_RATING>("rtng", parse_rtng),
    in_tag_slot<P3GPP_TAG_CLASSIFICATION>("clsf", parse_clsf),
    in_tag_slot<P3GPP_TAG_KEYWORDS>("kywd", parse_kywd),
    in_tag_slot<P3GPP_TAG_LOCATION>("loci", parse_loci),
    in_tag_slot<P3GPP_TAG_ALBUM>("albm", parse_albm),
    in_tag_slot<P3GPP_TAG_YEAR>("yrrc", parse_yrrc),
    ChildRule{"meta", parse_user_meta, ChildAction::kNothing},
};

// Kept: a last box that does not fit ends the user data without an error; any other error in it fails the
// open.
constinit const ContainerRule kMovieUdtaRule{.type = "udta",
                                             .children = kMovieUdtaChildren,
                                             .make_payload = make_payload<MovieUdtaPayload>,
                                             .overrun = Overrun::kEndsContainer,
                                             .allows_short_tail = true,
                                             .inner = &kItemListRule,
                                             .inner_path = "meta/ilst"};

}  // namespace

Status parse_movie_udta(BoxReader& reader, BoxNode& node) {
  return parse_container<kMovieUdtaRule>(reader, node);
}

}  // namespace zdr::p3gpp
