// Drives the decoder through its public interface.
#include "tests/aacdec/test_decoder.h"

#include <gtest/gtest.h>

#include "aacdec/syntax/raw_data_block.h"
#include "aacdec/syntax/sampling_rates.h"

namespace zdr::test {

using namespace aacdec;

Zd_AAC_Dec_Config lc_config(int32_t rate_hz, int32_t channels) {
  return {
      channels * 2048, kFrameLength, rate_hz, channels, kProfileLc, rate_hz, ZD_AAC_DEC_EXTENSION_NONE, 0};
}

Zd_AAC_Dec_Config config_of(const AdtsFile& file) {
  Zd_AAC_Dec_Config config = lc_config(kSamplingRates[file.sampling_index], file.channel_configuration);
  config.profile = file.profile;
  return config;
}

TestDecoder::TestDecoder(int32_t mode) {
  Zd_AAC_Dec_Instance* instance = nullptr;
  EXPECT_EQ(Zd_AAC_Dec_Create(&instance, mode), ZD_AAC_DEC_OK);
  instance_.reset(instance);
}

TestDecoder::TestDecoder(const Zd_AAC_Dec_Config& config, int32_t mode) : TestDecoder(mode) {
  EXPECT_EQ(configure(config), ZD_AAC_DEC_OK);
}

int32_t TestDecoder::configure(Zd_AAC_Dec_Config config) {
  const int32_t status = Zd_AAC_Dec_SetConfig(instance_.get(), &config);
  if (status == ZD_AAC_DEC_OK) config_ = config;
  return status;
}

Output TestDecoder::call(const uint8_t* data, int32_t size, int32_t capacity) {
  const int32_t given = capacity < 0 ? config_.outputBytes : capacity;
  Output output;
  // Has exactly the stated size, so that the address sanitizer detects a write past its end; but not null.
  output.pcm.reserve(1);
  output.pcm.resize(static_cast<size_t>(given) / 2);
  output.consumed = size;
  int32_t written = given;
  output.status = Zd_AAC_Dec_Decode(instance_.get(), data, &output.consumed, output.pcm.data(), &written);
  if (output.status != ZD_AAC_DEC_OK) {
    EXPECT_EQ(output.consumed, size);
    EXPECT_EQ(written, given);
    output.left_by_failure = output.pcm;
    written = 0;
  }
  EXPECT_LE(written, given);
  output.pcm.resize(static_cast<size_t>(written) / 2);
  return output;
}

Output TestDecoder::decode(const Bytes& unit, int32_t capacity) {
  return call(unit.data(), static_cast<int32_t>(unit.size()), capacity);
}

Pcm decode_all(TestDecoder& decoder, const std::vector<Bytes>& units) {
  Pcm pcm;
  for (size_t i = 0; i <= units.size(); ++i) {
    const Output output = i < units.size() ? decoder.decode(units[i]) : decoder.lose();
    EXPECT_EQ(output.status, ZD_AAC_DEC_OK) << "unit " << i;
    pcm.insert(pcm.end(), output.pcm.begin(), output.pcm.end());
  }
  return pcm;
}

ConfigValues values(const Zd_AAC_Dec_Config& c) {
  return {c.outputBytes, c.frameLength, c.sampleRate, c.channels,
          c.profile,     c.outputRate,  c.extension,  c.singleRate};
}

std::vector<Bytes> payloads(const AdtsFile& file) {
  std::vector<Bytes> units;
  for (const AdtsFrame& frame : file.frames) units.push_back(frame.payload);
  return units;
}

std::vector<Bytes> units(const AdtsFile& file) {
  std::vector<Bytes> units = payloads(file);
  for (size_t i = 0; i < units.size(); ++i) units[i] = concat({file.frames[i].header, units[i]});
  return units;
}

int32_t measure(const Bytes& data, int32_t kind, Zd_AAC_Dec_Config config) {
  const auto available = static_cast<int32_t>(data.size());
  int32_t length = available;
  if (Zd_AAC_Dec_GetFrameLength(data.data(), kind, &config, &length, 0) == ZD_AAC_DEC_OK) return length;
  EXPECT_EQ(length, available);
  return -1;
}

Bytes truncated(const Bytes& bytes, size_t count) {
  return Bytes(bytes.begin(), bytes.end() - static_cast<std::ptrdiff_t>(count));
}

std::unique_ptr<Frame> parsed(const Bytes& block, const AdtsFile& file) {
  BlockContext context;
  context.format = {file.sampling_index, file.profile};
  context.keep_values = true;
  BitReader reader(block.data(), block.size());
  auto frame = std::make_unique<Frame>();
  EXPECT_TRUE(parse_raw_data_block(reader, context, *frame).has_value());
  return frame;
}

}  // namespace zdr::test
