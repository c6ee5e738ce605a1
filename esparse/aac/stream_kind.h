// Which kind of stream a file holds, and its configuration.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "aacdec/zd_aac_dec.h"

namespace zdr::aacf {

// An ADTS header, or what looks like one.
bool begins_with_syncword(std::span<const uint8_t> data);

struct StreamDescription {
  int32_t kind = 0;  // AACF_KIND_
  Zd_AAC_Dec_Config config{};
  uint16_t header_bytes = 0;  // in front of the first frame; of ADTS, within it
};

// From the start of the stream and the first frame there; nothing when it cannot be decoded.
std::optional<StreamDescription> describe_stream(std::span<const uint8_t> data);

}  // namespace zdr::aacf
