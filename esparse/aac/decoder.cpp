// Calls the decoder and converts to its 32-bit sizes.
#include "esparse/aac/decoder.h"

#include <algorithm>

namespace zdr::aacf {

bool Decoder::open(Zd_AAC_Dec_Config& config) {
  // Kept: this instance decodes SBR but not parametric stereo, so HE-AAC v2 yields two equal channels.
  Zd_AAC_Dec_Instance* instance = nullptr;
  if (Zd_AAC_Dec_Open(&instance) != ZD_AAC_DEC_OK) return false;
  instance_.reset(instance);
  return configure(config) == ZD_AAC_DEC_OK;
}

int32_t Decoder::configure(Zd_AAC_Dec_Config& config) {
  return Zd_AAC_Dec_SetConfig(instance_.get(), &config);
}

bool Decoder::decode(std::span<const uint8_t> data, uint32_t& consumed, int16_t* pcm, uint32_t& pcm_bytes) {
  auto input_bytes = static_cast<int32_t>(data.size());
  auto output_bytes = static_cast<int32_t>(std::min<uint32_t>(pcm_bytes, INT32_MAX));
  const int32_t status = Zd_AAC_Dec_Decode(instance_.get(), data.data(), &input_bytes, pcm, &output_bytes);
  if (status < ZD_AAC_DEC_OK) return false;
  consumed = static_cast<uint32_t>(input_bytes);
  pcm_bytes = static_cast<uint32_t>(output_bytes);
  return true;
}

}  // namespace zdr::aacf
