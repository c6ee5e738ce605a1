// The description of AAC streams from the format block of their media type.
#include "host/inspect/aac_description.h"

#include <gtest/gtest.h>

#include <vector>

#include "filters/source/mp4/interfaces/zdr_guids.h"
#include "mediakit/aac/adts_file.h"

namespace zdr::test {
namespace {

using Data = std::vector<uint8_t>;

// "channels, core rate / output rate, extension", or nothing.
std::string described(const Data& config, const Data& unit) {
  Data block(26);
  block[18] = static_cast<uint8_t>(config.size());
  block[22] = static_cast<uint8_t>(unit.size());
  block[23] = static_cast<uint8_t>(unit.size() >> 8);
  block.insert(block.end(), config.begin(), config.end());
  block.insert(block.end(), unit.begin(), unit.end());
  AM_MEDIA_TYPE type{};
  type.subtype = mp4source::kSubtypeAacAccepted[0];
  type.pbFormat = block.data();
  type.cbFormat = static_cast<ULONG>(block.size());
  const auto aac = host::describe_aac(type);
  if (!aac) return "";
  return std::to_string(aac->channels) + ", " + std::to_string(aac->core_rate) + "/" +
         std::to_string(aac->output_rate) + ", " + aac->extension;
}

TEST(AacDescription, ReportsSbrForEveryKindOfSignalling) {
  const Data v2 = sample("he-aac-v2.aac").frames[0].payload;
  EXPECT_EQ(described({0x12, 0x10}, {}), "2, 44100/44100, none");
  EXPECT_EQ(described({0x13, 0x88}, v2), "2, 22050/44100, SBR+PS");
  EXPECT_EQ(described({0x2B, 0x8A, 0x08, 0x00}, {}), "1, 22050/44100, SBR");
  // Backward compatible signalling, at twice the core rate and at the core rate.
  EXPECT_EQ(described({0x13, 0x88, 0x56, 0xE5, 0xA0}, {}), "1, 22050/44100, SBR");
  EXPECT_EQ(described({0x13, 0x88, 0x56, 0xE5, 0xB8}, {}), "1, 22050/22050, SBR");
  EXPECT_EQ(described({0x13, 0x88}, {0xFF}), "");
}

}  // namespace
}  // namespace zdr::test
