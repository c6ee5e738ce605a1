// AVC as a byte stream (ISO/IEC 14496-10, annex B), and MPEG-4 visual (ISO/IEC 14496-2) after its
// configuration.
#pragma once

#include <vector>

#include "host/writers/stream_writer.h"

namespace zdr::host {

// The extra bytes of the media type: the NAL length size minus one (16 bits, little endian), then pairs of a
// length (16 bits, big endian) and a parameter set.
class AnnexBWriter : public StreamWriter {
 public:
  explicit AnnexBWriter(Bytes extra);
  bool begin(Output& output) override;
  bool write(Output& output, Bytes sample) override;

 private:
  // Passes the parts of a length-prefixed run to `write`, with a start code before each unit. A length that
  // extends past the end is noted as damage. Returns false if `write` does.
  template <class Write>
  bool convert(Bytes run, unsigned length_size, const char* damage, const Write& write);

  unsigned length_size_ = 4;
  std::vector<uint8_t> parameter_sets_;
};

// The extra bytes of the media type: the decoder configuration, then the first sample of the track.
class Mpeg4VisualWriter : public StreamWriter {
 public:
  explicit Mpeg4VisualWriter(Bytes extra);
  bool begin(Output& output) override;

 private:
  std::vector<uint8_t> configuration_;
};

}  // namespace zdr::host
