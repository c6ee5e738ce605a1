// What is recognised in the user data and in the meta box of a movie, and the ID3v2 box.
#include "p3gpp/metadata/metadata_boxes.h"
#include "p3gpp/parse/box_rules.h"
#include "p3gpp/parse/child_loop.h"

namespace zdr::p3gpp {
namespace {

template <uint32_t kTag>
constexpr ChildRule in_tag_slot(std::string_view type, BoxParser parse) {
  return {type, parse, Keep::kSlotIfPayload, tag_slot<kTag>};
}

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
    ChildRule{"meta", parse_user_meta, Keep::kNothing},
};

constexpr std::array kUserMetaChildren{
    ChildRule{"ilst", parse_item_list, Keep::kNothing},
    ChildRule{"meta", nullptr, Keep::kOpensInPlace},
};

// The copyright sign, \251, begins the types of the classic text items. In octal, since a hexadecimal escape
// would go on into the letters.
constexpr std::array kItems{
    in_tag_slot<P3GPP_TAG_ITEM_NAME>("\251nam", parse_text_item),
    in_tag_slot<P3GPP_TAG_ITEM_COMPILATION>("cpil", parse_bytes_item),
    in_tag_slot<P3GPP_TAG_ITEM_ALBUM>("\251alb", parse_text_item),
    // Kept on purpose: both spellings share a slot, as both forms of the genre do.
    in_tag_slot<P3GPP_TAG_ITEM_ARTIST>("\251ART", parse_text_item),
    in_tag_slot<P3GPP_TAG_ITEM_ARTIST>("\251art", parse_text_item),
    in_tag_slot<P3GPP_TAG_ITEM_COPYRIGHT>("cprt", parse_text_item),
    in_tag_slot<P3GPP_TAG_ITEM_WRITER>("\251wrt", parse_text_item),
    in_tag_slot<P3GPP_TAG_ITEM_DESCRIPTION>("desc", parse_text_item),
    in_tag_slot<P3GPP_TAG_ITEM_ALBUM_ARTIST>("aART", parse_text_item),
    in_tag_slot<P3GPP_TAG_ITEM_GENRE>("\251gen", parse_text_item),
    in_tag_slot<P3GPP_TAG_ITEM_GENRE>("gnre", parse_genre_item),
    in_tag_slot<P3GPP_TAG_ITEM_TRACK>("trkn", parse_number_item),
    in_tag_slot<P3GPP_TAG_ITEM_DISC>("disk", parse_number_item),
    in_tag_slot<P3GPP_TAG_ITEM_COVER>("covr", parse_bytes_item),
    // No item of the file has this type: it is the name of a free-form item.
    in_tag_slot<P3GPP_TAG_ITEM_GRACENOTE>("gnid", nullptr),
    in_tag_slot<P3GPP_TAG_ITEM_DATE>("\251day", parse_text_item),
};

constexpr std::array kMovieMetaChildren{
    in_slot<&MovieMetaPayload::id32>("ID32", parse_id32),
};

}  // namespace

constinit const ContainerRule kMovieUdtaRule{.type = "udta",
                                             .children = kMovieUdtaChildren,
                                             .make_payload = make_payload<MovieUdtaPayload>,
                                             .overrun = Overrun::kEndsContainer,
                                             .allows_short_tail = true,
                                             .inner = &kItemListRule,
                                             .inner_path = "meta/ilst"};
constinit const ContainerRule kUserMetaRule{.type = "meta", .children = kUserMetaChildren};
constinit const ContainerRule kItemListRule{.type = "ilst", .children = kItems};
constinit const ContainerRule kMovieMetaRule{
    .type = "meta", .children = kMovieMetaChildren, .make_payload = make_payload<MovieMetaPayload>};

const ContainerRule* MovieUdtaPayload::container() const {
  return &kMovieUdtaRule;
}
const ContainerRule* MovieMetaPayload::container() const {
  return &kMovieMetaRule;
}

Status parse_movie_meta(BoxReader& reader, BoxNode& node) {
  // Kept on purpose: always a full box. The QuickTime form without version and flags is misread and fails.
  reader.read_full_box_header(node);
  if (reader.status() != P3GPP_OK) return reader.status();
  return parse_container<kMovieMetaRule>(reader, node);
}

Status parse_id32(BoxReader& reader, BoxNode& node) {
  reader.read_full_box_header(node);
  auto payload = std::make_unique<Id32Payload>();
  payload->language = reader.read_array<2>();
  payload->data_offset = reader.stream_position();
  payload->data_size = reader.remaining();
  return keep_payload(reader, node, std::move(payload));
}

}  // namespace zdr::p3gpp
