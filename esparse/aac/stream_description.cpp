// Recognises the three kinds of streams by their first bytes: syncword, "ADIF", or the length of a
// configuration.
#include "esparse/aac/stream_description.h"

#include <string_view>

#include "esparse/aac/aacf.h"

namespace zdr::aacf {
namespace {

using Bytes = std::span<const uint8_t>;

constexpr std::string_view kAdifId = "ADIF";

bool is_adif(Bytes data) {
  return data.size() >= kAdifId.size() &&
         std::string_view(reinterpret_cast<const char*>(data.data()), kAdifId.size()) == kAdifId;
}

std::optional<StreamDescription> describe_with_header(Bytes data, int32_t kind) {
  StreamDescription stream{.kind = kind};
  auto length = static_cast<int32_t>(data.size());
  if (Zd_AAC_Dec_GetConfig(data.data(), &length, &stream.config, kind, nullptr, 0) != ZD_AAC_DEC_OK) {
    return std::nullopt;
  }
  stream.header_bytes = static_cast<uint16_t>(length);
  return stream;
}

// Raw streams: a byte with the length of the configuration, then the configuration and the first frame.
std::optional<StreamDescription> describe_raw(Bytes data) {
  if (data.empty()) return std::nullopt;
  const size_t config_bytes = data[0];
  if (data.size() < config_bytes + 1) return std::nullopt;
  const Bytes config = data.subspan(1, config_bytes);
  const Bytes frame = data.subspan(config_bytes + 1);
  StreamDescription stream{.kind = AACF_KIND_RAW};
  auto length = static_cast<int32_t>(config.size());
  const int32_t status = Zd_AAC_Dec_GetConfig(config.data(), &length, &stream.config, 0, frame.data(),
                                              static_cast<int32_t>(frame.size()));
  if (status != ZD_AAC_DEC_OK) return std::nullopt;
  stream.header_bytes = static_cast<uint16_t>(config_bytes + 1);
  return stream;
}

}  // namespace

bool begins_with_syncword(Bytes data) {
  return data.size() >= 2 && data[0] == 0xFF && data[1] >> 4 == 0xF;
}

std::optional<StreamDescription> describe_stream(Bytes data) {
  if (begins_with_syncword(data)) return describe_with_header(data, AACF_KIND_ADTS);
  if (is_adif(data)) return describe_with_header(data, AACF_KIND_ADIF);
  return describe_raw(data);
}

}  // namespace zdr::aacf
