// Reads the ES_Descriptor of an esds box (ISO/IEC 14496-1, 7.2.6.5).
#pragma once

#include <cstdint>
#include <span>

#include "p3gpp/parse/status.h"

namespace zdr::p3gpp {

struct EsDescriptor {
  uint16_t es_id = 0;
  uint8_t object_type = 0;
  uint8_t stream_type = 0;
  uint32_t max_bitrate = 0;
  uint32_t average_bitrate = 0;
  // Point into the descriptor bytes; empty if the descriptor has none.
  std::span<const uint8_t> decoder_specific_info;
  std::span<const uint8_t> sl_config;
  // Reading stopped because MPEG-4 visual has no decoder specific info.
  bool lacks_visual_config = false;
};

// Returns P3GPP_ERR_DECODER_CONFIG for a missing ES or decoder configuration descriptor, for MPEG-4 visual
// without decoder specific info, and if `bytes` is too short. `result` then holds the fields read so far.
Status read_es_descriptor(std::span<const uint8_t> bytes, EsDescriptor& result);

}  // namespace zdr::p3gpp
