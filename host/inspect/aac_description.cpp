// Reads the filter's AAC format block and asks the decoder about it, so that the words agree with what is
// heard.
#include "host/inspect/aac_description.h"

#include <algorithm>
#include <cstdint>
#include <span>

#include "aacdec/zd_aac_dec.h"
#include "host/inspect/media_type_text.h"

namespace zdr::host {
namespace {

using Bytes = std::span<const uint8_t>;

// The block: a WAVEFORMATEX, the length of the configuration, the size of the access unit (little endian),
// both in four bytes, then the two themselves.
constexpr size_t kConfigLengthAt = 18;
constexpr size_t kUnitSizeAt = 22;
constexpr size_t kConfigAt = 26;
constexpr int32_t kPlainConfiguration = 0;

const char* extension_name(const Zd_AAC_Dec_Config& config) {
  if (config.extension == ZD_AAC_DEC_EXTENSION_PS) return "SBR+PS";
  if (config.extension == ZD_AAC_DEC_EXTENSION_SBR) return "SBR";
  // A configuration that signals SBR in its compatible form shows it in the rates alone.
  return config.outputRate != config.sampleRate || config.singleRate != 0 ? "SBR" : "none";
}

}  // namespace

std::optional<AacDescription> describe_aac(const AM_MEDIA_TYPE& type) {
  if (!is_aac_access_units(type) || type.pbFormat == nullptr || type.cbFormat < kConfigAt)
    return std::nullopt;
  const Bytes block(type.pbFormat, type.cbFormat);
  const Bytes rest = block.subspan(kConfigAt);
  const Bytes config_bytes = rest.first(std::min<size_t>(block[kConfigLengthAt], rest.size()));
  const size_t unit_size = size_t{block[kUnitSizeAt]} | size_t{block[kUnitSizeAt + 1]} << 8;
  const Bytes behind = rest.subspan(config_bytes.size());
  const Bytes unit = behind.first(std::min(unit_size, behind.size()));

  Zd_AAC_Dec_Config config{};
  auto length = static_cast<int32_t>(config_bytes.size());
  if (Zd_AAC_Dec_GetConfig(config_bytes.data(), &length, &config, kPlainConfiguration, unit.data(),
                           static_cast<int32_t>(unit.size())) != ZD_AAC_DEC_OK) {
    return std::nullopt;
  }
  return AacDescription{config.channels, config.sampleRate, config.outputRate, extension_name(config)};
}

}  // namespace zdr::host
