// Decodes arbitrary bytes as a stream: framing, parser, tools, synthesis, SBR, concealment, resampler.
//
// The last two bytes select the mode, the configuration, and whether headers are removed and frames lost; the
// rest is the stream. After a failure the stream continues one byte later with a lost frame, so that one
// input has good, damaged and lost frames. ADTS files are good seeds.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "aacdec/syntax/sampling_rates.h"
#include "aacdec/zd_aac_dec.h"
#include "fuzz/require.h"

namespace {

using zdr::fuzz::require;
using Bytes = std::span<const uint8_t>;

constexpr int kMaxCalls = 12;
constexpr size_t kAdtsHeaderBytes = 7;

struct Choice {
  int32_t mode;
  Zd_AAC_Dec_Config config;
  bool strip_headers;
  bool lose_some;
};

Choice choose(uint8_t first, uint8_t second) {
  constexpr int32_t kExtensions[] = {0, 5, 6, 5};
  constexpr int32_t kRates[] = {0x7FFFFFFF, 16000, 8000, 0};
  Choice choice{};
  choice.mode = first % 3;
  const int32_t rate = zdr::aacdec::kSamplingRates[second % zdr::aacdec::kSamplingRateCount];
  const int32_t channels = 1 + (first >> 2 & 1);
  const int32_t profile = (first >> 3 & 1) != 0 ? 3 : 1;
  choice.config = {
      0, 1024, rate, channels, profile, kRates[second >> 4 & 3], kExtensions[first >> 4 & 3], second >> 7};
  choice.strip_headers = (first >> 6 & 1) != 0;
  choice.lose_some = (first >> 7 & 1) != 0;
  return choice;
}

// The PCM buffer has exactly the size that the decoder requests, so that a sanitizer detects writes past its
// end.
class Decoder {
 public:
  explicit Decoder(Choice& choice) {
    require(Zd_AAC_Dec_Create(&instance_, choice.mode) == ZD_AAC_DEC_OK, "every mode has a decoder");
    require(Zd_AAC_Dec_SetConfig(instance_, &choice.config) == ZD_AAC_DEC_OK,
            "the decoder takes the configuration");
    channels_ = choice.config.channels;
    pcm_.resize(static_cast<size_t>(choice.config.outputBytes) / 2);
  }
  ~Decoder() { Zd_AAC_Dec_Close(instance_); }
  Decoder(const Decoder&) = delete;
  Decoder& operator=(const Decoder&) = delete;

  // Returns the bytes consumed, -1 on failure.
  int32_t decode(const uint8_t* unit, size_t size) {
    auto consumed = static_cast<int32_t>(size);
    auto written = static_cast<int32_t>(2 * pcm_.size());
    const int32_t capacity = written;
    if (Zd_AAC_Dec_Decode(instance_, unit, &consumed, pcm_.data(), &written) != ZD_AAC_DEC_OK) return -1;
    require(written >= 0 && written <= capacity && written % (2 * channels_) == 0,
            "whole samples are written, within the buffer");
    require(consumed >= 0 && consumed <= static_cast<int32_t>(size), "no more is consumed than there is");
    return consumed;
  }

 private:
  Zd_AAC_Dec_Instance* instance_ = nullptr;
  int32_t channels_ = 1;
  std::vector<int16_t> pcm_;
};

bool has_header(Bytes data) {
  return data.size() > kAdtsHeaderBytes && data[0] == 0xFF && data[1] >> 4 == 0xF;
}

void decode_stream(Bytes data, Choice choice) {
  Decoder decoder(choice);
  for (int call = 0; call < kMaxCalls && !data.empty(); ++call) {
    if (choice.strip_headers && has_header(data)) data = data.subspan(kAdtsHeaderBytes);
    const int32_t consumed = decoder.decode(data.data(), data.size());
    if (consumed <= 0 || (choice.lose_some && call % 5 == 4)) decoder.decode(nullptr, 0);
    data = data.subspan(static_cast<size_t>(std::max(consumed, 1)));
  }
  decoder.decode(nullptr, 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 3) return 0;
  decode_stream(Bytes(data, size - 2), choose(data[size - 2], data[size - 1]));
  return 0;
}
