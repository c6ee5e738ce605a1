// Locates many samples in order.
#pragma once

#include <cstdint>
#include <span>

#include "p3gpp/boxes/movie_boxes.h"
#include "p3gpp/p3gpp.h"
#include "p3gpp/parse/status.h"

namespace zdr::p3gpp {

// Fills `samples`, which is not empty, as read_sample() without a buffer would with one record, called for
// samples[0].number and then for each of the numbers that follow. `located` counts the records that were
// filled before a failure.
Status locate_samples(const TrackPath& path, std::span<P3gppSample> samples, uint32_t& located);

}  // namespace zdr::p3gpp
