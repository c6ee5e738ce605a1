// Bytes from a known place of the file.
#ifndef ZDR_P3GPP_STREAM_READ_H
#define ZDR_P3GPP_STREAM_READ_H

#include <cstdint>
#include <limits>

#include "fmgr/fmgr.h"
#include "p3gpp/parse/status.h"

namespace zdr::p3gpp {

// P3GPP_ERR_SEEK, or P3GPP_ERR_READ unless all `count` bytes came.
inline Status read_at(FMGR_Stream* stream, uint64_t offset, void* out, uint32_t count) {
  // The file manager counts what it read in a signed number.
  if (count > uint32_t{std::numeric_limits<int32_t>::max()}) return P3GPP_ERR_READ;
  int32_t moved = 0;
  const int32_t sought = FMGR_FReadAt(stream, static_cast<uint32_t>(offset),
                                      static_cast<uint32_t>(offset >> 32), out, count, &moved);
  if (sought != FMGR_OK) return P3GPP_ERR_SEEK;
  return moved == static_cast<int32_t>(count) ? P3GPP_OK : P3GPP_ERR_READ;
}

}  // namespace zdr::p3gpp

#endif
