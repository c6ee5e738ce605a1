// The one-shot marks of the process.
#include "filters/source/mp4/sources/first_sample.h"

#include <atomic>

namespace zdr::mp4source {
namespace {

struct Mark {
  SourceKind kind;
  std::atomic<bool> due{true};
};
Mark g_marks[] = {{SOURCE_KIND_AMR}, {SOURCE_KIND_MP4}, {SOURCE_KIND_AAC}};

HRESULT apply_mark(IMediaSample* sample) {
  const HRESULT hr = sample->SetDiscontinuity(TRUE);
  return FAILED(hr) ? hr : sample->SetSyncPoint(TRUE);
}

}  // namespace

HRESULT mark_first_sample(SourceKind kind, IMediaSample* sample) {
  for (Mark& mark : g_marks) {
    // The plain load keeps the common case free of a locked exchange.
    if (mark.kind != kind || !mark.due.load(std::memory_order_relaxed) || !mark.due.exchange(false)) continue;
    const HRESULT hr = apply_mark(sample);
    // Kept: only ISO media keeps the mark for the next sample.
    if (FAILED(hr) && kind == SOURCE_KIND_MP4) mark.due = true;
    return hr;
  }
  return S_OK;
}

void rearm_first_sample_marks() {
  for (Mark& mark : g_marks) mark.due = true;
}

}  // namespace zdr::mp4source
