// Reads a sample: location, edit shift, bytes.
#include "p3gpp/samples/sample_reading.h"

#include "p3gpp/parse/file_stream.h"
#include "p3gpp/samples/sample_lookup.h"

namespace zdr::p3gpp {

Status read_sample(const TrackPath& path, P3gppSample& sample, uint32_t capacity) {
  const Status status = locate_sample(*path.stbl, sample);
  if (status != P3GPP_OK) return status;
  sample.decoding_time += path.trak->edit_shift;  // modulo 2^32; the composition time is not shifted
  // FMGR refuses to read 0 bytes.
  if (sample.buffer == nullptr || sample.size == 0) return P3GPP_OK;
  if (sample.size > capacity) return P3GPP_ERR_READ;
  return read_at(path.trak->data_stream.get(), sample.file_offset, sample.buffer, sample.size);
}

}  // namespace zdr::p3gpp
