// Reads a sample of an open track.
#pragma once

#include <cstdint>

#include "p3gpp/boxes/movie_boxes.h"
#include "p3gpp/p3gpp.h"
#include "p3gpp/parse/status.h"

namespace zdr::p3gpp {

// Locates the sample and, if sample.buffer is not null, reads it: one seek and one read on the data stream. A
// sample of more than `capacity` bytes is located but not read: P3GPP_ERR_READ.
Status read_sample(const TrackPath& path, P3gppSample& sample, uint32_t capacity);

}  // namespace zdr::p3gpp
