// The first sample of each kind of source that a process delivers is marked as a discontinuity and a sync
// point, whichever filter delivers it.
#pragma once

#include <streams.h>

#include "filters/source/mp4/core/source_kind.h"

namespace zdr::mp4source {

// Marks the sample if it is the first of its kind. Two workers may ask at once: one of them gets the mark.
// The failure of a sample that refuses the mark is returned; of ISO media the next sample then gets it.
HRESULT mark_first_sample(SourceKind kind, IMediaSample* sample);

// As if the process had delivered nothing yet.
void rearm_first_sample_marks();

}  // namespace zdr::mp4source
