// The access unit itself: location, shift, bytes.
#include "p3gpp/sample_reading.h"

#include <limits>

#include "p3gpp/sample_lookup.h"

namespace zdr::p3gpp {
namespace {

Status read_bytes(FMGR_Stream* stream, const P3gppSample& sample) {
  if (sample.size == 0) return P3GPP_OK;  // the file manager refuses to read nothing
  // The file manager counts what it read in a signed number.
  if (sample.size > uint32_t{std::numeric_limits<int32_t>::max()}) return P3GPP_ERR_READ;
  const auto low = static_cast<uint32_t>(sample.file_offset);
  const auto high = static_cast<uint32_t>(sample.file_offset >> 32);
  if (FMGR_FSeek64(stream, low, high, FMGR_SEEK_SET) != FMGR_OK) return P3GPP_ERR_SEEK;
  const int32_t bytes_read = FMGR_FRead(stream, sample.buffer, sample.size);
  return bytes_read == static_cast<int32_t>(sample.size) ? P3GPP_OK : P3GPP_ERR_READ;
}

}  // namespace

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
  if (sample.buffer == nullptr) return P3GPP_OK;
  return sample.size <= capacity ? read_bytes(path.trak->data_stream.get(), sample) : Status{P3GPP_ERR_READ};
}

}  // namespace zdr::p3gpp
