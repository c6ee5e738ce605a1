// 16-bit PCM as a WAVE file (.wav; Microsoft/IBM RIFF, WAVE_FORMAT_PCM).
#pragma once

#include "host/writers/stream_writer.h"

namespace zdr::host {

struct PcmFormat {
  uint32_t rate_hz = 0;
  uint16_t channels = 0;
};

class WavWriter : public StreamWriter {
 public:
  explicit WavWriter(PcmFormat format = {}) : format_(format) {}

  // Samples are little endian, channels interleaved.
  bool begin(OutputFile& file) override;
  // Sizes beyond 32 bits are written as the largest value, which players read as "to the end of the file".
  bool seal(OutputFile& file) override;

 protected:
  void set_format(PcmFormat format) { format_ = format; }

 private:
  PcmFormat format_;
};

}  // namespace zdr::host
