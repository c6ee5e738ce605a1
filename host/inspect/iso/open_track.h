// A track of an ISO media file, opened to walk over its samples.
#pragma once

#include <cstdint>
#include <memory>

#include "host/text/time_text.h"
#include "p3gpp/p3gpp.h"

namespace zdr::host {

struct CloseTrack {
  void operator()(P3gppTrack* track) const { P3GPP_CloseTrack(track); }
};
using OpenTrack = std::unique_ptr<P3gppTrack, CloseTrack>;

// The time of a sample as the filter stamps it: in whole milliseconds.
inline int64_t start_of(const P3gppSample& sample, uint32_t time_scale) {
  if (time_scale == 0) return 0;
  return static_cast<int64_t>(sample.decoding_time * 1000.0 / time_scale) * kUnitsPerMillisecond;
}

// The offset comes from the file and may be anything up to 2^64 - 1.
inline bool lies_within(const P3gppSample& sample, uint64_t file_size) {
  return sample.size <= file_size && sample.file_offset <= file_size - sample.size;
}

}  // namespace zdr::host
