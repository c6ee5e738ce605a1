// The pin's worker: what it does when it starts and ends, and which kind of source fills its samples.
#include "filters/source/mp4/filter/mp4_source.h"

namespace zdr::mp4source {

HRESULT CZanMP4SourceOutputPin::OnThreadCreate() {
  source_->seek_sync().worker_created(stream());
  return S_OK;
}

HRESULT CZanMP4SourceOutputPin::OnThreadDestroy() {
  source_->seek_sync().worker_ended(stream());
  return S_OK;
}

HRESULT CZanMP4SourceOutputPin::DoBufferProcessingLoop() {
  source_->seek_sync().loop_entered(stream());
  const HRESULT hr = CZanBaseSourceOutputPin::DoBufferProcessingLoop();
  source_->seek_sync().loop_left(stream());
  return hr;
}

HRESULT CZanMP4SourceOutputPin::FillBuffer(IMediaSample* sample) {
  switch (source_->source_kind()) {
    case SOURCE_KIND_MP4:
      return fill_iso(sample);
    case SOURCE_KIND_AMR:
    case SOURCE_KIND_AAC:
      return fill_file(sample);
    default:
      return S_OK;
  }
}

}  // namespace zdr::mp4source
