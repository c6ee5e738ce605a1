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

  bool trim(const ShownMedia& shown) override;
  bool begin(Output& output) override;
  // Sizes beyond 32 bits are written as the largest value, which players read as "to the end of the file".
  bool seal(Output& output) override;

  // Samples are little endian, channels interleaved.
  bool write(Output& output, Bytes pcm) override;

 protected:
  void set_format(PcmFormat format) { format_ = format; }

 private:
  PcmFormat format_;
  bool is_trimmed_ = false;
  // In sample frames.
  uint64_t begin_ = 0;
  uint64_t end_ = UINT64_MAX;
  uint64_t position_ = 0;
};

}  // namespace zdr::host
