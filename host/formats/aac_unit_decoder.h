// Decodes the access units of an AAC stream, whose output is one frame late.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "aacdec/zd_aac_dec.h"
#include "host/text/bytes.h"

namespace zdr::host {

class AacUnitDecoder {
 public:
  // The first access unit reveals SBR and parametric stereo that the configuration does not signal.
  AacUnitDecoder(Bytes config, Bytes first_unit);

  // False if the decoder does not support the configuration.
  bool is_usable() const { return decoder_ != nullptr; }
  uint32_t rate_hz() const { return rate_hz_; }
  uint16_t channels() const { return channels_; }

  // 16-bit little-endian PCM as in media samples, channels interleaved. Valid until the next call.
  struct Output {
    Bytes pcm;
    bool is_damaged = false;  // the unit could not be decoded, or only in part
  };
  // A damaged unit yields a replacement, which keeps sound and picture in sync, unless it is the first.
  Output decode(Bytes unit);
  // The last frame, which the decoder still holds.
  Bytes drain();

 private:
  struct Closer {
    void operator()(Zd_AAC_Dec_Instance* instance) const { Zd_AAC_Dec_Close(instance); }
  };

  // Concealed: the decoder has replaced a damaged access unit.
  enum class Outcome { kDecoded, kConcealed, kFailed };

  bool configure(Bytes config, Bytes first_unit);
  // Measures the unit. A damaged one is passed as lost, so that the decoder conceals it. One that passes can
  // still be damaged in its SBR data, but not in what the decoder checks before it outputs the held frame.
  bool is_decodable(Bytes unit);
  // An empty unit is a lost one. Yields PCM unless decoding fails.
  Outcome feed(Bytes unit, int32_t& pcm_bytes);
  // Converts what feed() has left in the buffer, so it is called once for each frame.
  Bytes pcm(int32_t bytes);

  std::unique_ptr<Zd_AAC_Dec_Instance, Closer> decoder_;
  // For measuring: without the channels and extensions, which each unit shows.
  Zd_AAC_Dec_Config core_{};
  bool has_adts_headers_ = false;
  bool holds_frame_ = false;
  int rate_index_ = 0;  // of the ADTS headers
  uint32_t rate_hz_ = 0;
  uint16_t channels_ = 0;
  std::vector<int16_t> pcm_;
};

}  // namespace zdr::host
