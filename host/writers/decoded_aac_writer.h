// Decodes AAC access units (`zdr play --decode`) and writes the PCM as a WAVE file.
#pragma once

#include <memory>
#include <vector>

#include "aacdec/zd_aac_dec.h"
#include "host/writers/wav_writer.h"

namespace zdr::host {

class DecodedAacWriter : public WavWriter {
 public:
  // The first access unit of the first media sample reveals SBR and parametric stereo that the configuration
  // does not signal.
  DecodedAacWriter(Bytes config, Bytes first_sample);

  // False if the decoder does not support the configuration.
  bool is_usable() const { return decoder_ != nullptr; }

  bool write(OutputFile& file, Bytes sample) override;
  // Also writes the last frame, which the decoder still holds.
  bool finish(OutputFile& file) override;

 private:
  struct Closer {
    void operator()(Zd_AAC_Dec_Instance* instance) const { Zd_AAC_Dec_Close(instance); }
  };

  // Concealed: the decoder has replaced a damaged access unit.
  enum class Outcome { kDecoded, kConcealed, kFailed };

  bool configure(Bytes config, Bytes first_unit);
  // Measures the unit. A damaged one is reported as lost, so that the decoder bridges it. One that passes can
  // still be damaged in its SBR data, but not in what the decoder checks before it outputs the held frame.
  bool is_decodable(Bytes unit);
  bool decode_unit(OutputFile& file, Bytes unit);
  // An empty unit is a lost one. Yields PCM unless decoding fails.
  Outcome decode(Bytes unit, int32_t& pcm_bytes);
  bool write_pcm(OutputFile& file, int32_t pcm_bytes);

  std::unique_ptr<Zd_AAC_Dec_Instance, Closer> decoder_;
  // For measuring: without the channels and extensions, which each unit shows.
  Zd_AAC_Dec_Config core_{};
  bool has_adts_headers_ = false;
  bool holds_frame_ = false;
  int rate_index_ = 0;  // of the ADTS headers
  std::vector<int16_t> pcm_;
};

}  // namespace zdr::host
