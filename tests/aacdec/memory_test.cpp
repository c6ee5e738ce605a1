// What the library takes from the heap, and what it says when there is none.
#include <gtest/gtest.h>

#include "aacdec/decoder_instance.h"
#include "tests/aacdec/test_decoder.h"
#include "tests/support/failing_allocator.h"

namespace zdr::aacdec {
namespace {

using namespace test;
using zdr::test::FailingAllocator;

TEST(Memory, OfAnInstanceIsOneBlockAndNoneAFrame) {
  const AdtsFile file = sample("he-aac-v2.aac");
  Zd_AAC_Dec_Config config = config_of(file);
  config.channels = 2;
  config.extension = ZD_AAC_DEC_EXTENSION_PS;
  config.outputRate = 2 * config.sampleRate;
  std::vector<int16_t> pcm(8192);
  for (const int32_t mode : {ZD_AAC_DEC_MODE_CORE, ZD_AAC_DEC_MODE_SBR, ZD_AAC_DEC_MODE_PS}) {
    const FailingAllocator counting(0);
    Zd_AAC_Dec_Instance* instance = nullptr;
    ASSERT_EQ(Zd_AAC_Dec_Create(&instance, mode), ZD_AAC_DEC_OK);
    EXPECT_EQ(counting.count(), 1U);
    EXPECT_EQ(counting.largest(), instance_bytes(mode));
    Zd_AAC_Dec_SetConfig(instance, &config);
    for (size_t i = 0; i < file.frames.size(); ++i) {
      const Bytes& unit = file.frames[i].payload;
      auto consumed = static_cast<int32_t>(unit.size());
      auto written = static_cast<int32_t>(2 * pcm.size());
      const bool lost = i % 8 == 7;
      EXPECT_EQ(Zd_AAC_Dec_Decode(instance, lost ? nullptr : unit.data(), &consumed, pcm.data(), &written),
                0);
    }
    Zd_AAC_Dec_Close(instance);
    EXPECT_EQ(counting.count(), 1U);
  }
}

TEST(Memory, LackOfItIsToldByEveryCallThatTakesSome) {
  const AdtsFile file = sample("aac-lc-8k-mono.aac");
  const Bytes& block = file.frames[0].payload;
  Zd_AAC_Dec_Config config = config_of(file);
  auto length = static_cast<int32_t>(block.size());
  auto* instance = reinterpret_cast<Zd_AAC_Dec_Instance*>(&config);
  {
    const FailingAllocator failing(1);
    EXPECT_EQ(Zd_AAC_Dec_Open(&instance), ZD_AAC_DEC_ERR_NO_INSTANCE);
    EXPECT_TRUE(failing.struck());
  }
  EXPECT_EQ(instance, nullptr);
  {
    const FailingAllocator failing(1);
    EXPECT_EQ(Zd_AAC_Dec_GetFrameLength(block.data(), 0, &config, &length, 0), ZD_AAC_DEC_ERR_FAILED);
    EXPECT_TRUE(failing.struck());
  }
  const Bytes record = {0x15, 0x88};
  auto record_bytes = static_cast<int32_t>(record.size());
  {
    // The record alone takes none.
    const FailingAllocator failing(1);
    EXPECT_EQ(Zd_AAC_Dec_GetConfig(record.data(), &record_bytes, &config, 0, nullptr, 0), ZD_AAC_DEC_OK);
    EXPECT_EQ(Zd_AAC_Dec_GetConfig(record.data(), &record_bytes, &config, 0, block.data(), length),
              ZD_AAC_DEC_ERR_FAILED);
  }
  EXPECT_EQ(Zd_AAC_Dec_GetFrameLength(block.data(), 0, &config, &length, 0), ZD_AAC_DEC_OK);
}

}  // namespace
}  // namespace zdr::aacdec
