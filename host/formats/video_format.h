// Reads the parts of the filter's video format blocks that consumers of its samples need.
#pragma once

#include <dshow.h>

#include "host/text/bytes.h"

namespace zdr::host {

// The bytes after the fixed header of a video format block: the configuration of the codec. Empty if there
// is none.
inline Bytes video_extra(const AM_MEDIA_TYPE& type) {
  if (type.pbFormat == nullptr || type.cbFormat < sizeof(VIDEOINFOHEADER)) return {};
  return Bytes(type.pbFormat, type.cbFormat).subspan(sizeof(VIDEOINFOHEADER));
}

// Bytes of a NAL unit length in AVC samples, from the first byte of their configuration.
inline unsigned nal_length_bytes(Bytes extra) {
  return extra.empty() ? 4 : (extra[0] & 3u) + 1;
}

}  // namespace zdr::host
