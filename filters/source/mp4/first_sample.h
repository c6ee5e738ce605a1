// The first sample of each kind of source that a process delivers is marked as a discontinuity and a sync
// point, whichever filter delivers it.
#pragma once

#include <streams.h>

#include "filters/source/mp4/source_kind.h"

namespace zdr::mp4source {

// Marks the sample if it is the first of its kind. Two workers may ask at once: one of them gets the mark. A
// sample that refuses the mark leaves it to the next; its failure is returned.
HRESULT mark_first_sample(SourceKind kind, IMediaSample* sample);

// As if the process had delivered nothing yet.
void rearm_first_sample_marks();

}  // namespace zdr::mp4source
