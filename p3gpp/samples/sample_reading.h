// Reading a sample, and the edit list as one constant shift of the decoding times.
#ifndef ZDR_P3GPP_SAMPLE_READING_H
#define ZDR_P3GPP_SAMPLE_READING_H

#include <cstdint>

#include "p3gpp/boxes/box_tree.h"
#include "p3gpp/parse/status.h"
#include "p3gpp/samples/track_access.h"

namespace zdr::p3gpp {

// The initial delay that the edit list tells: the duration of the first empty edit in a list of two or more.
// Kept on purpose: it is in the movie time scale and is added as it stands to times in the media time scale.
// P3GPP_ERR_NO_EMPTY_EDIT when such a list has no empty edit; `shift` is then 0.
Status find_edit_shift(const TrakPayload& trak, uint32_t& shift);

// Locates the sample and, when it brings a buffer, reads it: one seek and one read on the data stream. A
// sample of more than `capacity` bytes is not read.
Status read_sample(const TrackPath& path, P3gppSample& sample, uint32_t capacity);

}  // namespace zdr::p3gpp

#endif
