// The containment table. Media header boxes, for one, have no rows: they are skipped. The rows of the user
// data stand in metadata_rules.cpp and hint_boxes.cpp, those of the sample entries in sample_entries.cpp.
#include "p3gpp/parse/box_rules.h"

#include <array>

#include "p3gpp/boxes/leaf_boxes.h"
#include "p3gpp/boxes/sample_entries.h"
#include "p3gpp/boxes/sample_tables.h"
#include "p3gpp/metadata/metadata_boxes.h"
#include "p3gpp/parse/child_loop.h"

namespace zdr::p3gpp {
namespace {

constexpr std::array kMoovChildren{
    in_slot<&MoovPayload::mvhd>("mvhd", parse_mvhd),
    in_slot<&MoovPayload::iods>("iods", parse_iods, Keep::kSlotIfPayload),
    in_slot<&MoovPayload::udta>("udta", parse_container<kMovieUdtaRule>),
    in_slot<&MoovPayload::meta>("meta", parse_movie_meta),
    ChildRule{"trak", parse_container<kTrakRule>, Keep::kList},
};

constexpr std::array kTrakChildren{
    in_slot<&TrakPayload::tkhd>("tkhd", parse_tkhd),
    in_slot<&TrakPayload::tref>("tref", parse_tref),
    in_slot<&TrakPayload::edts>("edts", parse_container<kEdtsRule>),
    in_slot<&TrakPayload::mdia>("mdia", parse_container<kMdiaRule>),
    in_slot<&TrakPayload::udta>("udta", parse_container<kTrackUdtaRule>),
};

constexpr std::array kEdtsChildren{
    in_slot<&EdtsPayload::elst>("elst", parse_elst),
};

constexpr std::array kMdiaChildren{
    in_slot<&MdiaPayload::mdhd>("mdhd", parse_mdhd),
    in_slot<&MdiaPayload::hdlr>("hdlr", parse_hdlr),
    in_slot<&MdiaPayload::minf>("minf", parse_container<kMinfRule>),
};

constexpr std::array kMinfChildren{
    in_slot<&MinfPayload::hmhd>("hmhd", parse_hmhd),
    in_slot<&MinfPayload::dinf>("dinf", parse_container<kDinfRule>),
    in_slot<&MinfPayload::stbl>("stbl", parse_container<kStblRule>),
};

constexpr std::array kDinfChildren{
    in_slot<&DinfPayload::dref>("dref", parse_dref),
};

constexpr std::array kDrefChildren{
    ChildRule{"url ", parse_url, Keep::kList},
    ChildRule{"urn ", parse_urn, Keep::kList},
};

constexpr std::array kStblChildren{
    in_slot<&StblPayload::stts>("stts", parse_stts),
    in_slot<&StblPayload::ctts>("ctts", parse_ctts),
    in_slot<&StblPayload::stss>("stss", parse_stss, Keep::kSlotIfPayload),
    in_slot<&StblPayload::stsd>("stsd", parse_stsd),
    in_slot<&StblPayload::stsz>("stsz", parse_stsz),
    in_slot<&StblPayload::stsc>("stsc", parse_stsc),
    in_slot<&StblPayload::stco>("stco", parse_stco),
    in_slot<&StblPayload::stsh>("stsh", parse_stsh),
    // Kept on purpose: a degradation priority table makes the whole sample table unusable.
    ChildRule{"stdp", nullptr, Keep::kEndsContainer},
    in_slot<&StblPayload::co64>("co64", parse_co64),
};

}  // namespace

constinit const ContainerRule kMoovRule{
    .type = "moov",
    .children = kMoovChildren,
    .make_payload = make_payload<MoovPayload>,
    .list = PayloadMember<&MoovPayload::traks>::get,
    // Kept on purpose: what follows the damaged track is not read either.
    .tolerates_later_failure = true,
};

constinit const ContainerRule kTrakRule{
    .type = "trak",
    .children = kTrakChildren,
    .make_payload = make_payload<TrakPayload>,
    .overrun = Overrun::kFailsAtEnd,
};

constinit const ContainerRule kEdtsRule{
    .type = "edts", .children = kEdtsChildren, .make_payload = make_payload<EdtsPayload>};
constinit const ContainerRule kMdiaRule{
    .type = "mdia", .children = kMdiaChildren, .make_payload = make_payload<MdiaPayload>};
constinit const ContainerRule kMinfRule{
    .type = "minf", .children = kMinfChildren, .make_payload = make_payload<MinfPayload>};
constinit const ContainerRule kDinfRule{
    .type = "dinf", .children = kDinfChildren, .make_payload = make_payload<DinfPayload>};
constinit const ContainerRule kDrefRule{.type = "dref",
                                        .children = kDrefChildren,
                                        .make_payload = make_payload<DrefPayload>,
                                        .list = PayloadMember<&DrefPayload::entries>::get};
constinit const ContainerRule kStblRule{
    .type = "stbl", .children = kStblChildren, .make_payload = make_payload<StblPayload>};

const ContainerRule* MoovPayload::container() const {
  return &kMoovRule;
}
const ContainerRule* TrakPayload::container() const {
  return &kTrakRule;
}
const ContainerRule* EdtsPayload::container() const {
  return &kEdtsRule;
}
const ContainerRule* MdiaPayload::container() const {
  return &kMdiaRule;
}
const ContainerRule* MinfPayload::container() const {
  return &kMinfRule;
}
const ContainerRule* DinfPayload::container() const {
  return &kDinfRule;
}
const ContainerRule* DrefPayload::container() const {
  return &kDrefRule;
}
const ContainerRule* StblPayload::container() const {
  return &kStblRule;
}

namespace {

void visit_slots(const ContainerRule& rule, BoxPayload& payload, std::string_view inner_path,
                 const std::function<void(const KeptChild&)>& visit) {
  for (const ChildRule& row : rule.children) {
    if (row.slot == nullptr) continue;
    const BoxSlot& child = row.slot(payload);
    // Several types may share a slot.
    if (child != nullptr && (row.type.empty() || child->is(row.type))) visit({*child, 0, inner_path});
  }
}

}  // namespace

void for_each_kept_child(const BoxNode& node, const std::function<void(const KeptChild&)>& visit) {
  const ContainerRule* rule = node.payload == nullptr ? nullptr : node.payload->container();
  if (rule == nullptr) return;
  visit_slots(*rule, *node.payload, {}, visit);
  if (rule->inner != nullptr) visit_slots(*rule->inner, *node.payload, rule->inner_path, visit);
  if (rule->list == nullptr) return;
  uint32_t ordinal = 0;
  for (const BoxSlot& member : rule->list(*node.payload)) {
    ++ordinal;
    if (member != nullptr) visit({*member, ordinal});
  }
}

const ChildRule* find_child_rule(const ContainerRule& rule, const PathStep& child) {
  const std::string_view type(child.type.data(), 4);
  for (const ChildRule& row : rule.children) {
    if (row.type == type) return &row;
  }
  return nullptr;
}

}  // namespace zdr::p3gpp
