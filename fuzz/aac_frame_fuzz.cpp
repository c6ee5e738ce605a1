// Passes arbitrary bytes as access units, stream headers and configurations to the two functions that need no
// decoder instance and to the block parser. The parser runs twice, so that the second block starts from the
// state after the first.
//
// The first byte selects sampling rate, profile and function; the rest is the data.
#include <cstddef>
#include <cstdint>
#include <memory>

#include "aacdec/syntax/raw_data_block.h"
#include "aacdec/syntax/sampling_rates.h"
#include "aacdec/zd_aac_dec.h"
#include "fuzz/require.h"

namespace {

using namespace zdr::aacdec;
using zdr::fuzz::require;

void measure(const uint8_t* data, int32_t size, int rate_index, int profile, int32_t kind) {
  const int32_t rate = kSamplingRates[rate_index];
  Zd_AAC_Dec_Config config{2048, 1024, rate, 0, profile, rate, 0, 0};
  int32_t length = size;
  if (Zd_AAC_Dec_GetFrameLength(data, kind, &config, &length, 0) != ZD_AAC_DEC_OK) return;
  require(length > 0 && length <= size && config.channels >= 1 && config.channels <= 2,
          "a frame is part of the data, with one or two channels");
}

void configure(const uint8_t* data, int32_t size, int32_t header_mode) {
  // The same data also serve as the first frame.
  Zd_AAC_Dec_Config config{};
  int32_t length = size;
  const int32_t status = Zd_AAC_Dec_GetConfig(data, &length, &config, header_mode, data, size);
  require(status != ZD_AAC_DEC_OK || (length >= 0 && length <= size), "a configuration is part of the data");
}

void parse(const uint8_t* data, size_t size, int rate_index, int profile) {
  SbrParser sbr(kSamplingRates[rate_index]);
  BlockContext context;
  context.format = {rate_index, profile};
  context.keep_values = true;
  context.sbr = &sbr;
  static const auto frame = std::make_unique<Frame>();
  for (int block = 0; block < 2; ++block) {
    BitReader reader(data, size);
    parse_raw_data_block(reader, context, *frame);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  const int choice = data[0];
  ++data;
  --size;
  const int rate_index = choice % kSamplingRateCount;
  const int profile = choice / kSamplingRateCount % 2 == 0 ? kProfileLc : kProfileLtp;
  const auto length = static_cast<int32_t>(size);
  switch (choice / (2 * kSamplingRateCount) % 4) {
    case 0:
      measure(data, length, rate_index, profile, ZD_AAC_DEC_STREAM_RAW);
      break;
    case 1:
      parse(data, size, rate_index, profile);
      break;
    case 2:
      measure(data, length, rate_index, profile, ZD_AAC_DEC_STREAM_ADTS);
      break;
    default:
      configure(data, length, choice & 1);
      break;
  }
  return 0;
}
