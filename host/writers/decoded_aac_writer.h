// Decodes AAC access units and writes the PCM as a WAVE file.
#pragma once

#include <memory>
#include <vector>

#include "aacdec/zd_aac_dec.h"
#include "host/writers/wav_writer.h"

namespace zdr::host {

class DecodedAacWriter : public WavWriter {
 public:
  // `first_sample` is the first media sample: its first access unit tells of SBR and parametric stereo that
  // the configuration doesn't signal.
  DecodedAacWriter(Bytes audio_specific_config, Bytes first_sample);

  // False: the decoder doesn't support the configuration.
  bool is_usable() const { return decoder_ != nullptr; }

  bool write(OutputFile& file, Bytes sample) override;
  // Writes the frame that the decoder has held back, too.
  bool finish(OutputFile& file) override;

 private:
  struct Closer {
    void operator()(Zd_AAC_Dec_Instance* instance) const { Zd_AAC_Dec_Close(instance); }
  };

  // Concealed: the decoder has put something in the place of a damaged unit.
  enum class Outcome { kDecoded, kConcealed, kFailed };

  bool configure(Bytes audio_specific_config, Bytes first_unit);
  bool decode_unit(OutputFile& file, Bytes unit);
  // An empty unit stands for a lost one. There is PCM unless it failed.
  Outcome decode(Bytes unit, int32_t& pcm_bytes);
  bool write_pcm(OutputFile& file, int32_t pcm_bytes);

  std::unique_ptr<Zd_AAC_Dec_Instance, Closer> decoder_;
  std::vector<int16_t> pcm_;
};

}  // namespace zdr::host
