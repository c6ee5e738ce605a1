// AVC as Annex B byte stream (ISO/IEC 14496-10) and MPEG-4 visual (ISO/IEC 14496-2) with its configuration in
// front.
#pragma once

#include <vector>

#include "host/writers/stream_writer.h"

namespace zdr::host {

// Extra bytes: 16-bit little-endian NAL length size minus one, then (16-bit big-endian length, parameter set)
// pairs.
class AnnexBWriter : public StreamWriter {
 public:
  explicit AnnexBWriter(Bytes extra);
  bool begin(OutputFile& file) override;
  bool write(OutputFile& file, Bytes sample) override;

 private:
  // Appends the units of a length-prefixed run to `out_`; false when a length runs past the end.
  bool convert(Bytes run, unsigned length_size);

  unsigned length_size_ = 4;
  std::vector<uint8_t> parameter_sets_;
  std::vector<uint8_t> out_;
};

// Extra bytes: the decoder configuration, then the first sample of the track.
class Mpeg4VisualWriter : public StreamWriter {
 public:
  explicit Mpeg4VisualWriter(Bytes extra);
  bool begin(OutputFile& file) override;

 private:
  std::vector<uint8_t> configuration_;
};

}  // namespace zdr::host
