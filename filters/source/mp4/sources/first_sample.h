// The first sample of each kind of source that a process delivers is marked as a discontinuity and a sync
// point, whichever filter delivers it.
#pragma once

#include <streams.h>

#include <atomic>

namespace zdr::mp4source {

// One for each kind of source in the process.
struct FirstSampleMark {
  std::atomic<bool> due{true};
};
extern FirstSampleMark g_first_iso_sample;
extern FirstSampleMark g_first_amr_sample;
extern FirstSampleMark g_first_aac_sample;

// Marks the sample if the mark is due, and clears the mark. Of two workers that call this at once only one
// marks its sample. Returns the failure of a sample that refuses the mark.
HRESULT mark_first_sample(FirstSampleMark& mark, IMediaSample* sample);

}  // namespace zdr::mp4source
