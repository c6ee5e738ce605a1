// Describes the format block as the decoder parses it, so that the description agrees with the decoded sound.
#include "host/inspect/aac_description.h"

#include "host/formats/aac_format.h"

namespace zdr::host {
const char* extension_name(const Zd_AAC_Dec_Config& config) {
  if (config.extension == ZD_AAC_DEC_EXTENSION_PS) return "SBR+PS";
  if (config.extension == ZD_AAC_DEC_EXTENSION_SBR) return "SBR";
  // Backward compatible signalling of SBR changes only the rates.
  return config.outputRate != config.sampleRate || config.singleRate != 0 ? "SBR" : "none";
}

std::optional<AacDescription> describe_aac(const AM_MEDIA_TYPE& type) {
  if (!is_aac_access_units(type)) return std::nullopt;
  const AacFormat format = read_aac_format(type);
  const auto config = read_aac_config(format.config, format.first_unit);
  if (!config) return std::nullopt;
  return AacDescription{config->channels, config->sampleRate, config->outputRate, extension_name(*config)};
}

}  // namespace zdr::host
