// Parsers of the user data of a track, and the fields that they report.
#include "p3gpp/metadata/hint_boxes.h"

#include "p3gpp/parse/box_fields.h"
#include "p3gpp/parse/child_loop.h"

namespace zdr::p3gpp {
namespace {

Status parse_sdp(BoxReader& reader, BoxNode& node) {
  auto payload = std::make_unique<SdpPayload>();
  payload->text = reader.read_rest_as_text();
  return store_payload(reader, node, std::move(payload));
}

// A box longer than its number is accepted; a shorter one is P3GPP_ERR_BOX_SIZE.
Status parse_number32(BoxReader& reader, BoxNode& node) {
  auto payload = std::make_unique<HintNumberPayload>();
  payload->value = reader.u32();
  return store_payload(reader, node, std::move(payload));
}

Status parse_number64(BoxReader& reader, BoxNode& node) {
  auto payload = std::make_unique<HintNumberPayload>();
  payload->value = reader.u64();
  return store_payload(reader, node, std::move(payload));
}

Status parse_maxr(BoxReader& reader, BoxNode& node) {
  auto payload = std::make_unique<HintNumberPayload>();
  payload->value = reader.u32();
  payload->max_rate_bytes = reader.u32();
  return store_payload(reader, node, std::move(payload));
}

Status parse_payt(BoxReader& reader, BoxNode& node) {
  auto payload = std::make_unique<PaytPayload>();
  payload->body = reader.read_rest_as_text();
  return store_payload(reader, node, std::move(payload));
}

template <uint32_t kStatistic>
constexpr ChildRule in_statistic_slot(std::string_view type, BoxParser parse) {
  constexpr auto slot = [](BoxPayload& payload) -> BoxSlot& {
    return static_cast<HinfPayload&>(payload).statistics[kStatistic];
  };
  return {type, parse, ChildAction::kSlot, slot};
}

constexpr std::array kHinfChildren{
    in_statistic_slot<P3GPP_HINT_TRPY>("trpy", parse_number64),
    in_statistic_slot<P3GPP_HINT_TOTL>("totl", parse_number32),
    in_statistic_slot<P3GPP_HINT_NUMP>("nump", parse_number64),
    in_statistic_slot<P3GPP_HINT_NPCK>("npck", parse_number32),
    in_statistic_slot<P3GPP_HINT_TPYL>("tpyl", parse_number64),
    in_statistic_slot<P3GPP_HINT_TPAY>("tpay", parse_number32),
    in_statistic_slot<P3GPP_HINT_MAXR>("maxr", parse_maxr),
    in_statistic_slot<P3GPP_HINT_DMED>("dmed", parse_number64),
    in_statistic_slot<P3GPP_HINT_DIMM>("dimm", parse_number64),
    in_statistic_slot<P3GPP_HINT_DREP>("drep", parse_number64),
    in_statistic_slot<P3GPP_HINT_TMIN>("tmin", parse_number32),
    in_statistic_slot<P3GPP_HINT_TMAX>("tmax", parse_number32),
    in_statistic_slot<P3GPP_HINT_PMAX>("pmax", parse_number32),
    in_statistic_slot<P3GPP_HINT_DMAX>("dmax", parse_number32),
    in_statistic_slot<P3GPP_HINT_PAYT>("payt", parse_payt),
};
constinit const ContainerRule kHinfRule{
    .type = "hinf", .children = kHinfChildren, .make_payload = make_payload<HinfPayload>};

constexpr std::array kHntiChildren{in_slot<&HntiPayload::sdp>("sdp ", parse_sdp)};
constinit const ContainerRule kHntiRule{
    .type = "hnti", .children = kHntiChildren, .make_payload = make_payload<HntiPayload>};

constexpr std::array kTrackUdtaChildren{
    in_slot<&TrackUdtaPayload::hinf>("hinf", parse_container<kHinfRule>),
    in_slot<&TrackUdtaPayload::hnti>("hnti", parse_container<kHntiRule>),
};

// Kept: an error in this box fails the track, and in the first track the open. Only a short tail is
// tolerated.
constinit const ContainerRule kTrackUdtaRule{.type = "udta",
                                             .children = kTrackUdtaChildren,
                                             .make_payload = make_payload<TrackUdtaPayload>,
                                             .allows_short_tail = true};

}  // namespace

Status parse_track_udta(BoxReader& reader, BoxNode& node) {
  return parse_container<kTrackUdtaRule>(reader, node);
}

void SdpPayload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  fields.text("sdp", text);
}

void HintNumberPayload::describe(const BoxNode& node, BoxFields& fields) const {
  if (node.is("maxr")) {
    fields.number("period_ms", value);
    fields.number("bytes", max_rate_bytes);
  } else {
    fields.number("value", value);
  }
}

// Reports the RTP payload number and the counted string after it.
void PaytPayload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  constexpr size_t kTextOffset = 5;
  if (body.size() < kTextOffset) return fields.bytes("payload_type", body);
  const auto* bytes = reinterpret_cast<const uint8_t*>(body.data());
  fields.number("payload_number", load_be32(bytes));
  fields.text("rtpmap", std::string_view(body).substr(kTextOffset, bytes[kTextOffset - 1]));
}

}  // namespace zdr::p3gpp
