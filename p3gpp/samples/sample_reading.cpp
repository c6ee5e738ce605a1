// The access unit itself: location, shift, bytes.
#include "p3gpp/samples/sample_reading.h"

#include "p3gpp/parse/stream_read.h"
#include "p3gpp/samples/sample_lookup.h"

namespace zdr::p3gpp {
Status find_edit_shift(const TrakPayload& trak, uint32_t& shift) {
  shift = 0;
  const auto* edts = payload_of<EdtsPayload>(trak.edts);
  const auto* elst = edts == nullptr ? nullptr : payload_of<ElstPayload>(edts->elst);
  if (elst == nullptr || elst->entries.size() < 2) return P3GPP_OK;
  for (const ElstEntry& entry : elst->entries) {
    if (entry.media_time != kEmptyEdit) continue;
    shift = entry.segment_duration;
    return P3GPP_OK;
  }
  return P3GPP_ERR_NO_EMPTY_EDIT;
}

Status read_sample(const TrackPath& path, P3gppSample& sample, uint32_t capacity) {
  const Status status = locate_sample(*path.stbl, sample);
  if (status != P3GPP_OK) return status;
  sample.decoding_time += path.trak->edit_shift;  // modulo 2^32; the composition time stays as it is
  // The file manager refuses to read nothing.
  if (sample.buffer == nullptr || sample.size == 0) return P3GPP_OK;
  if (sample.size > capacity) return P3GPP_ERR_READ;
  return read_at(path.trak->data_stream.get(), sample.file_offset, sample.buffer, sample.size);
}

}  // namespace zdr::p3gpp
