// Owns the decoder instance of a reader.
#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "aacdec/zd_aac_dec.h"

namespace zdr::aacf {

class Decoder {
 public:
  // False if out of memory, or if `config` cannot be decoded.
  bool open(Zd_AAC_Dec_Config& config);
  // Restarts the decoder and updates the derived fields of `config`. Returns a status of the decoder.
  int32_t configure(Zd_AAC_Dec_Config& config);
  // Decodes the frame at the start of `data`. False on failure; nothing is then consumed. `pcm_bytes` is the
  // capacity of `pcm`; on success, the bytes written.
  bool decode(std::span<const uint8_t> data, uint32_t& consumed, int16_t* pcm, uint32_t& pcm_bytes);

 private:
  struct Close {
    void operator()(Zd_AAC_Dec_Instance* instance) const { Zd_AAC_Dec_Close(instance); }
  };
  std::unique_ptr<Zd_AAC_Dec_Instance, Close> instance_;
};

}  // namespace zdr::aacf
