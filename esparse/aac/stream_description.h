// Recognises the kind of a stream and reads its configuration.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "aacdec/zd_aac_dec.h"

namespace zdr::aacf {

// True for an ADTS header, and for data that look like one.
bool begins_with_syncword(std::span<const uint8_t> data);

struct StreamDescription {
  int32_t kind = 0;  // an AACF_KIND_
  Zd_AAC_Dec_Config config{};
  uint16_t header_bytes = 0;  // before the first frame; in ADTS, within it
};

// `data` begins with the start of the stream and its first frame. Empty if the stream cannot be decoded.
std::optional<StreamDescription> describe_stream(std::span<const uint8_t> data);

}  // namespace zdr::aacf
