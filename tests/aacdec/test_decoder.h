// A decoder instance that checks the rules of every call, and helpers that build its input.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "aacdec/syntax/frame.h"
#include "aacdec/zd_aac_dec.h"
#include "mediakit/aac/adts_file.h"
#include "mediakit/boxes/box_builder.h"

namespace zdr::test {

using Pcm = std::vector<int16_t>;

struct Output {
  int32_t status = 0;
  int32_t consumed = 0;
  Pcm pcm;
  Pcm left_by_failure;  // the whole buffer
};

Zd_AAC_Dec_Config lc_config(int32_t rate_hz, int32_t channels);
// The configuration of the headers of the file, without SBR.
Zd_AAC_Dec_Config config_of(const AdtsFile& file);

class TestDecoder {
 public:
  explicit TestDecoder(int32_t mode = ZD_AAC_DEC_MODE_CORE);
  explicit TestDecoder(const Zd_AAC_Dec_Config& config, int32_t mode = ZD_AAC_DEC_MODE_CORE);

  int32_t configure(Zd_AAC_Dec_Config config);
  // The configuration as updated by SetConfig.
  const Zd_AAC_Dec_Config& config() const { return config_; }
  // `capacity`: bytes of the PCM buffer; -1: one output frame. Expects a failure to write neither byte count.
  Output decode(const Bytes& unit, int32_t capacity = -1);
  // The size that comes with a null pointer must not count.
  Output lose(int32_t capacity = -1) { return call(nullptr, 4711, capacity); }

  Zd_AAC_Dec_Instance* instance() const { return instance_.get(); }

 private:
  struct Closer {
    void operator()(Zd_AAC_Dec_Instance* instance) const { Zd_AAC_Dec_Close(instance); }
  };
  Output call(const uint8_t* data, int32_t size, int32_t capacity);

  std::unique_ptr<Zd_AAC_Dec_Instance, Closer> instance_;
  Zd_AAC_Dec_Config config_{};
};

// The fields in order.
using ConfigValues = std::vector<int32_t>;
ConfigValues values(const Zd_AAC_Dec_Config& config);

// Returns the PCM of all units, including the last one.
Pcm decode_all(TestDecoder& decoder, const std::vector<Bytes>& units);

std::vector<Bytes> payloads(const AdtsFile& file);
// The frames with their headers.
std::vector<Bytes> units(const AdtsFile& file);
// Returns the length of a frame, or -1 after a failure, which must not write the length.
int32_t measure(const Bytes& data, int32_t kind, Zd_AAC_Dec_Config config);
// Returns the bytes without the last `count`.
Bytes truncated(const Bytes& bytes, size_t count = 1);

// Returns the parsed block, which must be valid.
std::unique_ptr<aacdec::Frame> parsed(const Bytes& block, const AdtsFile& file);

}  // namespace zdr::test
