// FMGR streams for the parser: an owning handle, and a read at a given offset of the file.
#pragma once

#include <cstdint>
#include <limits>
#include <memory>

#include "fmgr/fmgr.h"
#include "p3gpp/parse/status.h"

namespace zdr::p3gpp {

struct StreamCloser {
  void operator()(FMGR_Stream* stream) const noexcept { FMGR_FClose(stream); }
};
using StreamHandle = std::unique_ptr<FMGR_Stream, StreamCloser>;

// Reads `count` bytes at `offset`. P3GPP_ERR_SEEK if the seek fails, P3GPP_ERR_READ if fewer bytes are read.
inline Status read_at(FMGR_Stream* stream, uint64_t offset, void* out, uint32_t count) {
  // FMGR returns the number of bytes read as a signed number.
  if (count > uint32_t{std::numeric_limits<int32_t>::max()}) return P3GPP_ERR_READ;
  int32_t bytes_read = 0;
  const int32_t seek_status = FMGR_FReadAt(stream, static_cast<uint32_t>(offset),
                                           static_cast<uint32_t>(offset >> 32), out, count, &bytes_read);
  if (seek_status != FMGR_OK) return P3GPP_ERR_SEEK;
  return bytes_read == static_cast<int32_t>(count) ? P3GPP_OK : P3GPP_ERR_READ;
}

}  // namespace zdr::p3gpp
