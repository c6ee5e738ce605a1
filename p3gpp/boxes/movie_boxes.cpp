// The tables of moov and the containers in it, innermost first: the children that each recognises, their
// parsers, and the slots that store them. A child without a row, such as vmhd or smhd, is skipped.
#include "p3gpp/boxes/movie_boxes.h"

#include <array>

#include "p3gpp/boxes/data_references.h"
#include "p3gpp/boxes/header_boxes.h"
#include "p3gpp/boxes/leaf_boxes.h"
#include "p3gpp/boxes/sample_entries.h"
#include "p3gpp/boxes/sample_tables.h"
#include "p3gpp/metadata/hint_boxes.h"
#include "p3gpp/metadata/movie_meta.h"
#include "p3gpp/metadata/movie_user_data.h"
#include "p3gpp/parse/child_loop.h"

namespace zdr::p3gpp {
namespace {

constexpr std::array kStblChildren{
    in_slot<&StblPayload::stts>("stts", parse_stts),
    in_slot<&StblPayload::ctts>("ctts", parse_ctts),
    in_slot<&StblPayload::stss>("stss", parse_stss, ChildAction::kSlotIfPayload),
    in_slot<&StblPayload::stsd>("stsd", parse_stsd),
    in_slot<&StblPayload::stsz>("stsz", parse_stsz),
    in_slot<&StblPayload::stsc>("stsc", parse_stsc),
    in_slot<&StblPayload::stco>("stco", parse_stco),
    in_slot<&StblPayload::stsh>("stsh", parse_stsh),
    // Kept: a degradation priority table makes the whole sample table unusable.
    ChildRule{"stdp", nullptr, ChildAction::kEndsContainer},
    in_slot<&StblPayload::co64>("co64", parse_co64),
};
constinit const ContainerRule kStblRule{
    .type = "stbl", .children = kStblChildren, .make_payload = make_payload<StblPayload>};

constexpr std::array kDinfChildren{
    in_slot<&DinfPayload::dref>("dref", parse_dref),
};
constinit const ContainerRule kDinfRule{
    .type = "dinf", .children = kDinfChildren, .make_payload = make_payload<DinfPayload>};

constexpr std::array kMinfChildren{
    in_slot<&MinfPayload::hmhd>("hmhd", parse_hmhd),
    in_slot<&MinfPayload::dinf>("dinf", parse_container<kDinfRule>),
    in_slot<&MinfPayload::stbl>("stbl", parse_container<kStblRule>),
};
constinit const ContainerRule kMinfRule{
    .type = "minf", .children = kMinfChildren, .make_payload = make_payload<MinfPayload>};

constexpr std::array kMdiaChildren{
    in_slot<&MdiaPayload::mdhd>("mdhd", parse_mdhd),
    in_slot<&MdiaPayload::hdlr>("hdlr", parse_hdlr),
    in_slot<&MdiaPayload::minf>("minf", parse_container<kMinfRule>),
};
constinit const ContainerRule kMdiaRule{
    .type = "mdia", .children = kMdiaChildren, .make_payload = make_payload<MdiaPayload>};

constexpr std::array kEdtsChildren{
    in_slot<&EdtsPayload::elst>("elst", parse_elst),
};
constinit const ContainerRule kEdtsRule{
    .type = "edts", .children = kEdtsChildren, .make_payload = make_payload<EdtsPayload>};

constexpr std::array kTrakChildren{
    in_slot<&TrakPayload::tkhd>("tkhd", parse_tkhd),
    in_slot<&TrakPayload::tref>("tref", parse_tref),
    in_slot<&TrakPayload::edts>("edts", parse_container<kEdtsRule>),
    in_slot<&TrakPayload::mdia>("mdia", parse_container<kMdiaRule>),
    in_slot<&TrakPayload::udta>("udta", parse_track_udta),
};
constinit const ContainerRule kTrakRule{
    .type = "trak",
    .children = kTrakChildren,
    .make_payload = make_payload<TrakPayload>,
    .overrun = Overrun::kFailsAtEnd,
};

constexpr std::array kMoovChildren{
    in_slot<&MoovPayload::mvhd>("mvhd", parse_mvhd),
    in_slot<&MoovPayload::iods>("iods", parse_iods, ChildAction::kSlotIfPayload),
    in_slot<&MoovPayload::udta>("udta", parse_movie_udta),
    in_slot<&MoovPayload::meta>("meta", parse_movie_meta),
    ChildRule{"trak", parse_container<kTrakRule>, ChildAction::kList},
};
constinit const ContainerRule kMoovRule{
    .type = "moov",
    .children = kMoovChildren,
    .make_payload = make_payload<MoovPayload>,
    .list = PayloadMember<&MoovPayload::traks>::get,
    .tolerates_later_failure = true,
};

}  // namespace

Status parse_moov(BoxReader& reader, BoxNode& node) {
  return parse_container<kMoovRule>(reader, node);
}

}  // namespace zdr::p3gpp
