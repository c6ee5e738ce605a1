// What a hint track tells of its RTP session in its user data (ISO/IEC 14496-12, 9.1): an SDP fragment (hnti)
// and statistics (hinf). Parser contract: box_reader.h.
#ifndef ZDR_P3GPP_HINT_BOXES_H
#define ZDR_P3GPP_HINT_BOXES_H

#include <array>
#include <cstdint>
#include <string>

#include "p3gpp/boxes/box_tree.h"
#include "p3gpp/parse/box_reader.h"

namespace zdr::p3gpp {

struct TrackUdtaPayload final : BoxPayload {
  BoxSlot hinf;
  BoxSlot hnti;
  const ContainerRule* container() const override;
};

struct HntiPayload final : BoxPayload {
  BoxSlot sdp;
  const ContainerRule* container() const override;
};

struct SdpPayload final : BoxPayload {
  std::string text;
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

struct HinfPayload final : BoxPayload {
  std::array<BoxSlot, P3GPP_HINT_COUNT> statistics;  // by P3GPP_HINT_ code
  const ContainerRule* container() const override;
};

// Any statistic but payt.
struct HintNumberPayload final : BoxPayload {
  uint64_t value = 0;
  uint32_t max_rate_bytes = 0;  // maxr: bytes in a period of `value` ms
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

struct PaytPayload final : BoxPayload {
  std::string body;
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

}  // namespace zdr::p3gpp

#endif
