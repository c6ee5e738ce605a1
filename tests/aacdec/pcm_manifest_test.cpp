// The PCM of every AAC sample is pinned byte for byte, for every compiler, optimisation level and instruction
// set. A change here changes the output of the decoder and must be intended.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "aacdec/fixed/cpu.h"
#include "tests/aacdec/test_decoder.h"
#include "tests/support/checksum.h"

namespace zdr::test {
namespace {

using namespace aacdec;

struct Entry {
  const char* file;
  size_t samples;  // of all channels together
  uint64_t hash;
  int32_t requested_hz = 0;  // 0: the rate of the stream
  // Repeated over the units: 1 received, 0 lost, d damaged.
  const char* arrivals = "1";
  int32_t output_channels = 0;  // 0: those of the stream
};

constexpr const char* kGaps = "1111101111001111000111100000011111d1111d01110d011";

constexpr Entry kManifest[] = {
    {"aac-lc-44k-stereo.aac", 108544, 0x3B5315DA1F6E1207},
    {"aac-lc-8k-mono.aac", 17408, 0x0DC6ADAD5D1DDEFF},
    {"aac-lc-96k-stereo.aac", 79872, 0x53318AF9015AAEC7},
    {"aac-ltp-44k-stereo.aac", 143360, 0x2DE60602AB0FDC82},
    {"he-aac-v1-mono.aac", 63488, 0xDB51639E7E71D8F9},
    {"he-aac-v1-stereo.aac", 163840, 0x8200224622EFD765},
    {"he-aac-v1-stereo.aac", 81920, 0x2628A02DB5613A83, 0, "1", 1},
    {"he-aac-v2.aac", 200704, 0x0C54773018FCEDE1},
    {"he-aac-v1-mono-short-headers.aac", 38912, 0xF87798E89EDC06AF},
    {"he-aac-v2-short-headers.aac", 110592, 0x54AF9FBBDD062D36},
    {"he-aac-v1-stereo.aac", 59444, 0x7AA61AC6A7072EF2, 16000},
    {"he-aac-v1-stereo.aac", 29722, 0x9274132D852FD628, 8000},
    {"he-aac-v2.aac", 72818, 0x9A5A24DCBACC210A, 16000},
    {"he-aac-v2.aac", 100352, 0x48777F8AA4F11F2D, 22050},
    {"aac-ltp-44k-stereo.aac", 139264, 0x100D34DA9209A16C, 0, kGaps},
    {"he-aac-v1-mono.aac", 63488, 0x6457AF044C021A7A, 0, kGaps},
    {"he-aac-v1-stereo.aac", 155648, 0x106CD927C78084B7, 0, kGaps},
    {"he-aac-v2.aac", 192512, 0x2A352CBA44EBAD90, 0, kGaps},
};

Pcm decode_file(const Entry& entry, VectorLevel level) {
  limit_vector_level(level);
  const AdtsFile file = sample(entry.file);
  const Bytes first = units(file)[0];
  auto length = static_cast<int32_t>(first.size());
  Zd_AAC_Dec_Config config{};
  EXPECT_EQ(Zd_AAC_Dec_GetConfig(first.data(), &length, &config, 1, nullptr, 0), ZD_AAC_DEC_OK);
  if (entry.requested_hz != 0) config.outputRate = entry.requested_hz;
  if (entry.output_channels != 0) config.channels = entry.output_channels;
  TestDecoder decoder(config, ZD_AAC_DEC_MODE_PS);
  Pcm pcm;
  for (size_t i = 0; i <= file.frames.size(); ++i) {
    const char arrival = i < file.frames.size() ? entry.arrivals[i % std::strlen(entry.arrivals)] : '0';
    Bytes unit = arrival == '0' ? Bytes() : file.frames[i].payload;
    if (arrival == 'd') unit.resize(unit.size() - unit.size() / 2);
    const Output output = arrival == '0' ? decoder.lose() : decoder.decode(unit);
    EXPECT_TRUE(output.status == ZD_AAC_DEC_OK || arrival == 'd') << "unit " << i;
    pcm.insert(pcm.end(), output.pcm.begin(), output.pcm.end());
  }
  return pcm;
}

TEST(PcmManifest, EverySampleDecodesToItsPinnedPcm) {
  for (const Entry& entry : kManifest) {
    SCOPED_TRACE(testing::Message() << entry.file << ' ' << entry.requested_hz << ' ' << entry.arrivals << ' '
                                    << entry.output_channels);
    for (const VectorLevel level : vector_levels()) {
      const Pcm pcm = decode_file(entry, level);
      EXPECT_EQ(pcm.size(), entry.samples);
      Checksum sum;
      sum.add(pcm);
      EXPECT_EQ(sum.value, entry.hash) << std::hex << sum.value << " at level " << static_cast<int>(level);
    }
  }
}

}  // namespace
}  // namespace zdr::test
