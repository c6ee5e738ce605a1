// The user data of a hint track, trak/udta (ISO/IEC 14496-12, 9.1): an SDP fragment (hnti, sdp) and
// statistics of the RTP session (hinf: trpy, totl, nump, npck, tpyl, tpay, maxr, dmed, dimm, drep, tmin,
// tmax, pmax, dmax, payt).
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "p3gpp/p3gpp.h"
#include "p3gpp/parse/box_node.h"
#include "p3gpp/parse/box_reader.h"

namespace zdr::p3gpp {

struct TrackUdtaPayload final : BoxPayload {
  BoxSlot hinf;
  BoxSlot hnti;
};

struct HntiPayload final : BoxPayload {
  BoxSlot sdp;
};

struct SdpPayload final : BoxPayload {
  std::string text;
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

struct HinfPayload final : BoxPayload {
  std::array<BoxSlot, P3GPP_HINT_COUNT> statistics;  // by P3GPP_HINT_ code
};

// Every statistic except payt.
struct HintNumberPayload final : BoxPayload {
  uint64_t value = 0;
  uint32_t max_rate_bytes = 0;  // maxr: bytes in a period of `value` ms
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

struct PaytPayload final : BoxPayload {
  std::string body;
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

Status parse_track_udta(BoxReader& reader, BoxNode& node);

}  // namespace zdr::p3gpp
