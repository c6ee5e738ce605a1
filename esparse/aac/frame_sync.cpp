// Recognises ADTS frames by their headers (ISO/IEC 14496-3 1.A.2.2), and measures the blocks of the other
// kinds by parsing them.
#include "esparse/aac/frame_sync.h"

#include <cstring>
#include <optional>

namespace zdr::aacf {
namespace {

constexpr size_t kComparedBytes = 4;
constexpr size_t kLengthFieldEnd = 7;

// Kept: a header is recognised only by the 28 bits that it shares with the first header of the stream.
bool is_header(const AACF_SyncState& state, const uint8_t* bytes) {
  // The low bits of the fourth byte vary by frame: two flags and the top bits of the length.
  return std::memcmp(bytes, state.first_header.data(), kComparedBytes - 1) == 0 &&
         ((bytes[3] ^ state.first_header[3]) & 0xF0) == 0;
}

// Returns the offset of the first header at or after `from` with at least one byte after the compared ones.
std::optional<size_t> find_header(const AACF_SyncState& state, Bytes data, size_t from) {
  while (from + kComparedBytes < data.size()) {
    const size_t candidates = data.size() - kComparedBytes - from;
    const void* const found = std::memchr(data.data() + from, state.first_header[0], candidates);
    if (found == nullptr) return std::nullopt;
    const auto* const at = static_cast<const uint8_t*>(found);
    if (is_header(state, at)) return static_cast<size_t>(at - data.data());
    from = static_cast<size_t>(at - data.data()) + 1;
  }
  return std::nullopt;
}

uint32_t length_field(const uint8_t* header) {
  return (header[3] & 3u) << 11 | static_cast<uint32_t>(header[4] << 3) |
         static_cast<uint32_t>(header[5] >> 5);
}

int32_t sync_to_adts(const AACF_SyncState& state, Bytes data, uint32_t& length) {
  const auto first = find_header(state, data, 0);
  if (!first) return AACF_ERR_NEED_MORE_DATA;
  if (data.size() - *first < kLengthFieldEnd) return kTruncatedHeader;
  const uint32_t frame_length = length_field(data.data() + *first);
  if (frame_length == 0) return AACF_ERR_FAILED;
  if (data.size() - *first <= frame_length + kComparedBytes) return AACF_ERR_NEED_MORE_DATA;
  // Kept: the length is counted from the start of the data, even if the header was found later.
  if (is_header(state, data.data() + frame_length)) {
    length = frame_length;
    return AACF_OK;
  }
  // Kept: the next header is accepted without checking what follows it.
  const auto second = find_header(state, data, *first + 1);
  if (!second) return AACF_ERR_NEED_MORE_DATA;
  length = static_cast<uint32_t>(*second);
  return AACF_OK;
}

// Measuring updates the configuration, and fails for one that already has parametric stereo. Each frame is
// therefore measured with a new configuration that has the channels of the core.
Zd_AAC_Dec_Config core_config(Zd_AAC_Dec_Config config) {
  if (config.extension == ZD_AAC_DEC_EXTENSION_PS) config.channels /= 2;
  config.extension = ZD_AAC_DEC_EXTENSION_NONE;
  return config;
}

int32_t measure_frame(const AACF_SyncState& state, Bytes data, uint32_t& length) {
  Zd_AAC_Dec_Config config = core_config(state.config);
  auto measured = static_cast<int32_t>(data.size());
  const int32_t status = Zd_AAC_Dec_GetFrameLength(data.data(), state.kind, &config, &measured, 0);
  if (status != ZD_AAC_DEC_OK) return AACF_ERR_NEED_MORE_DATA;
  length = static_cast<uint32_t>(measured);
  return AACF_OK;
}

}  // namespace

int32_t frame_sync(const AACF_SyncState& state, Bytes data, uint32_t& length) {
  return state.kind == AACF_KIND_ADTS ? sync_to_adts(state, data, length)
                                      : measure_frame(state, data, length);
}

int32_t find_next_header(const AACF_SyncState& state, Bytes data, uint32_t& offset) {
  const auto header = find_header(state, data, 0);
  const size_t end = data.size() > kComparedBytes ? data.size() - kComparedBytes : 0;
  offset = static_cast<uint32_t>(header.value_or(end));
  return header ? AACF_OK : AACF_ERR_NEED_MORE_DATA;
}

}  // namespace zdr::aacf
