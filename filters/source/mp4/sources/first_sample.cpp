// The marks of the first samples, one set for the whole process.
#include "filters/source/mp4/sources/first_sample.h"

namespace zdr::mp4source {

// Kept: one mark for each kind in the process, not one for each filter.
FirstSampleMark g_first_iso_sample;
FirstSampleMark g_first_amr_sample;
FirstSampleMark g_first_aac_sample;

HRESULT mark_first_sample(FirstSampleMark& mark, IMediaSample* sample) {
  // In the common case the plain load avoids the locked exchange.
  if (!mark.due.load(std::memory_order_relaxed) || !mark.due.exchange(false)) return S_OK;
  const HRESULT hr = sample->SetDiscontinuity(TRUE);
  return FAILED(hr) ? hr : sample->SetSyncPoint(TRUE);
}

}  // namespace zdr::mp4source
