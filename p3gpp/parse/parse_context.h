// What all readers of one open share: the sequential stream with its position, the trail of boxes being
// parsed, and the visitor of a traced open.
#pragma once

#include <cstdint>
#include <span>

#include "fmgr/fmgr.h"
#include "p3gpp/parse/open_error.h"
#include "p3gpp/parse/status.h"

namespace zdr::p3gpp {

struct ParseContext {
  // The stream returns a signed 32-bit count, in which a longer read would look like a failed one.
  static constexpr uint32_t kMaxReadBytes = 0x7FFFFFFF;
  // The most bytes of box bodies that are stored as they are: a sparse file of a few KiB can have any number
  // of bodies of 2 GiB. Real files have some KiB of texts, descriptors and parameter sets, and some MiB of
  // covers.
  static constexpr uint64_t kMaxKeptBytes = uint64_t{32} << 20;

  FMGR_Stream* stream = nullptr;
  uint64_t file_size = 0;
  uint64_t left_to_keep = kMaxKeptBytes;
  uint64_t position = 0;                     // of the stream; not always that of the box arithmetic
  OpenErrorTrail trail;                      // the boxes being parsed, and the first error
  const P3gppBoxVisitor* visitor = nullptr;  // receives every box; null if the open is not traced

  // Bytes between the stream's position and the end of the file.
  uint64_t left_in_file() const { return position < file_size ? file_size - position : 0; }
  // Reads exactly out.size() bytes or fails with P3GPP_ERR_READ.
  Status read(std::span<uint8_t> out);
  // Moves the stream forward, or fails with P3GPP_ERR_SEEK. A skip past the end of the file succeeds; the
  // next read then fails.
  Status skip(uint64_t count);
};

}  // namespace zdr::p3gpp
