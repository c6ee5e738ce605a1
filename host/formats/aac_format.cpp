// Parses the format block and the media samples of AAC.
#include "host/formats/aac_format.h"

#include <algorithm>
#include <iterator>

#include "filters/source/mp4/interfaces/zdr_guids.h"

namespace zdr::host {
namespace {

using mp4source::kAacConfigOffset;
using mp4source::kAacConfigSizeOffset;
using mp4source::kAacUnitSizeOffset;

constexpr int32_t kPlainConfiguration = 0;

}  // namespace

bool is_aac_access_units(const AM_MEDIA_TYPE& type) {
  const auto& known = mp4source::kSubtypeAacAccepted;
  return std::find(std::begin(known), std::end(known), type.subtype) != std::end(known);
}

AacFormat read_aac_format(const AM_MEDIA_TYPE& type) {
  if (type.pbFormat == nullptr || type.cbFormat < kAacConfigOffset) return {};
  const Bytes block(type.pbFormat, type.cbFormat);
  const Bytes rest = block.subspan(kAacConfigOffset);
  const Bytes config = rest.first(std::min<size_t>(block[kAacConfigSizeOffset], rest.size()));
  const Bytes after = rest.subspan(config.size());
  const size_t unit_size = size_t{block[kAacUnitSizeOffset]} | size_t{block[kAacUnitSizeOffset + 1]} << 8;
  return {config, after.first(std::min(unit_size, after.size()))};
}

std::optional<Zd_AAC_Dec_Config> read_aac_config(Bytes config, Bytes first_unit) {
  Zd_AAC_Dec_Config parsed{};
  auto length = static_cast<int32_t>(config.size());
  if (Zd_AAC_Dec_GetConfig(config.data(), &length, &parsed, kPlainConfiguration, first_unit.data(),
                           static_cast<int32_t>(first_unit.size())) != ZD_AAC_DEC_OK) {
    return std::nullopt;
  }
  return parsed;
}

bool begins_with_syncword(Bytes unit) {
  return unit.size() >= 2 && unit[0] == 0xFF && (unit[1] & 0xF0) == 0xF0;
}

bool is_aac_unit(const Zd_AAC_Dec_Config& stream, Bytes unit) {
  Zd_AAC_Dec_Config core{};  // each unit shows its channels and extensions
  core.frameLength = stream.frameLength;
  core.sampleRate = stream.sampleRate;
  core.profile = stream.profile;
  auto length = static_cast<int32_t>(unit.size());
  return Zd_AAC_Dec_GetFrameLength(unit.data(), ZD_AAC_DEC_STREAM_RAW, &core, &length, 0) == ZD_AAC_DEC_OK;
}

std::vector<Bytes> split_aac_sample(Bytes sample) {
  if (sample.size() < kAacSizeTableBytes) return {};
  const Bytes table = sample.last(kAacSizeTableBytes);
  Bytes rest = sample.first(sample.size() - kAacSizeTableBytes);
  std::vector<Bytes> units;
  for (size_t i = 0; i < kAacUnitsPerSample; ++i) {
    const size_t size = table[2 * i] | static_cast<size_t>(table[2 * i + 1]) << 8;
    if (size > rest.size()) return {};
    if (size == 0) continue;
    units.push_back(rest.first(size));
    rest = rest.subspan(size);
  }
  return rest.empty() ? units : std::vector<Bytes>{};
}

Bytes first_aac_unit(Bytes sample) {
  const std::vector<Bytes> units = split_aac_sample(sample);
  return units.empty() ? Bytes() : units.front();
}

std::vector<uint8_t> join_aac_units(std::span<const Bytes> units) {
  std::vector<uint8_t> sample;
  for (const Bytes unit : units) sample.insert(sample.end(), unit.begin(), unit.end());
  for (size_t i = 0; i < kAacUnitsPerSample; ++i) {
    const size_t size = i < units.size() ? units[i].size() : 0;
    sample.push_back(static_cast<uint8_t>(size));
    sample.push_back(static_cast<uint8_t>(size >> 8));
  }
  return sample;
}

}  // namespace zdr::host
