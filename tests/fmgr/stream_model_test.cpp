// Random operations on the streams of a descriptor against the model, for all devices and buffer sizes.
#include "mediakit/drivers/stream_model.h"

#include <gtest/gtest.h>

#include <random>

namespace zdr::test {
namespace {

class StreamModels : public testing::TestWithParam<uint32_t> {};

INSTANTIATE_TEST_SUITE_P(Devices, StreamModels, testing::ValuesIn(kOpenTypes));

TEST_P(StreamModels, KeptPositionsMatchTheModelAfterAnyCalls) {
  for (const size_t content_size : {0u, 1u, 97u, 200u}) {
    for (const uint32_t buffer_size : {0u, 1u, 2u, 7u, 64u, 500u}) {
      std::mt19937 random(static_cast<uint32_t>(content_size * 1000 + buffer_size));
      std::vector<uint8_t> script(4 * 3000);
      for (uint8_t& byte : script) byte = static_cast<uint8_t>(random());
      const auto disagreement = ScriptedStreams(GetParam(), content_size, buffer_size).run(script);
      EXPECT_FALSE(disagreement) << *disagreement << " (" << content_size << " bytes, buffers of "
                                 << buffer_size << ")";
    }
  }
}

}  // namespace
}  // namespace zdr::test
