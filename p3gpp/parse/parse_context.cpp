// Reads and skips on the sequential stream of an open.
#include "p3gpp/parse/parse_context.h"

namespace zdr::p3gpp {

Status ParseContext::read(std::span<uint8_t> out) {
  if (out.size() > kMaxReadBytes) return P3GPP_ERR_READ;
  const int32_t count = FMGR_FRead(stream, out.data(), static_cast<uint32_t>(out.size()));
  if (count > 0) position += static_cast<uint32_t>(count);
  return count >= 0 && static_cast<size_t>(count) == out.size() ? P3GPP_OK : P3GPP_ERR_READ;
}

Status ParseContext::skip(uint64_t count) {
  const auto low = static_cast<uint32_t>(count);
  const auto high = static_cast<uint32_t>(count >> 32);
  if (FMGR_FSeek64(stream, low, high, FMGR_SEEK_CURRENT) != FMGR_OK) return P3GPP_ERR_SEEK;
  position += count;
  return P3GPP_OK;
}

}  // namespace zdr::p3gpp
