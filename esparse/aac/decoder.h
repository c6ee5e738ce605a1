// The decoder instance of a reader.
#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "aacdec/zd_aac_dec.h"

namespace zdr::aacf {

class Decoder {
 public:
  // False when there is no memory for an instance, or `config` cannot be decoded.
  bool open(Zd_AAC_Dec_Config& config);
  // Starts anew, and updates the derived fields of `config`. A status of the decoder.
  int32_t configure(Zd_AAC_Dec_Config& config);
  // False for data that cannot be decoded; nothing is consumed then. `pcm_bytes`, in: room; out: bytes
  // written.
  bool decode(std::span<const uint8_t> data, uint32_t& consumed, int16_t* pcm, uint32_t& pcm_bytes);

 private:
  struct Close {
    void operator()(Zd_AAC_Dec_Instance* instance) const { Zd_AAC_Dec_Close(instance); }
  };
  std::unique_ptr<Zd_AAC_Dec_Instance, Close> instance_;
};

}  // namespace zdr::aacf
