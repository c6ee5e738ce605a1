// Decodes AAC access units (`zdr play --decode`) and writes the PCM as a WAVE file.
#pragma once

#include "host/formats/aac_unit_decoder.h"
#include "host/writers/wav_writer.h"

namespace zdr::host {

class DecodedAacWriter : public WavWriter {
 public:
  // The first access unit of the first media sample reveals SBR and parametric stereo that the configuration
  // does not signal.
  DecodedAacWriter(Bytes config, Bytes first_sample);

  // False if the decoder does not support the configuration.
  bool is_usable() const { return decoder_.is_usable(); }

  bool write(Output& output, Bytes sample) override;
  // Also writes the last frame, which the decoder still holds.
  bool finish(Output& output) override;

 private:
  AacUnitDecoder decoder_;
};

}  // namespace zdr::host
