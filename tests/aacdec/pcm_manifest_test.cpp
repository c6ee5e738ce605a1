// The PCM of every AAC sample, byte for byte: the same from every compiler, at every level of optimisation,
// on every set of instructions. A change here is a change of what listeners hear and has to be meant.
#include <gtest/gtest.h>

#include <cctype>
#include <string>

#include "aacdec/fixed/cpu.h"
#include "tests/aacdec/test_decoder.h"

namespace zdr::aacdec {
namespace {

using namespace test;

struct Entry {
  const char* file;
  size_t samples;  // over all channels
  uint64_t hash;
  int32_t requested_hz = 0;  // 0: the rate of the stream
};

constexpr Entry kManifest[] = {
    {"aac-lc-44k-stereo.aac", 108544, 0x3B5315DA1F6E1207},
    {"aac-lc-8k-mono.aac", 17408, 0x0DC6ADAD5D1DDEFF},
    {"aac-lc-96k-stereo.aac", 79872, 0x53318AF9015AAEC7},
    {"aac-ltp-44k-stereo.aac", 143360, 0x2DE60602AB0FDC82},
    {"he-aac-v1-mono.aac", 63488, 0xDB51639E7E71D8F9},
    {"he-aac-v1-stereo.aac", 163840, 0x8200224622EFD765},
    {"he-aac-v2.aac", 200704, 0x0C54773018FCEDE1},
    {"he-aac-v1-stereo.aac", 59444, 0x7AA61AC6A7072EF2, 16000},
    {"he-aac-v1-stereo.aac", 29722, 0x9274132D852FD628, 8000},
    {"he-aac-v2.aac", 72818, 0x9A5A24DCBACC210A, 16000},
    {"he-aac-v2.aac", 100352, 0x48777F8AA4F11F2D, 22050},
};

// FNV-1a over the samples as little-endian bytes.
uint64_t hash_of(const Pcm& pcm) {
  uint64_t hash = 0xCBF29CE484222325;
  for (const int16_t sample : pcm) {
    for (const int shift : {0, 8}) {
      hash ^= static_cast<uint64_t>(sample >> shift & 0xFF);
      hash *= 0x100000001B3;
    }
  }
  return hash;
}

Pcm decode_file(const AdtsFile& file, int32_t requested_hz) {
  const Bytes first = joined(file.frames[0].header, file.frames[0].payload);
  auto length = static_cast<int32_t>(first.size());
  Zd_AAC_Dec_Config config{};
  EXPECT_EQ(Zd_AAC_Dec_GetConfig(first.data(), &length, &config, 1, nullptr, 0), ZD_AAC_DEC_OK);
  if (requested_hz != 0) config.outputRate = requested_hz;
  TestDecoder decoder(config, ZD_AAC_DEC_MODE_PS);
  return decode_all(decoder, payloads(file));
}

class PcmManifest : public testing::TestWithParam<Entry> {};

TEST_P(PcmManifest, IsWhatItWas) {
  allow_wide_vectors(false);
  const Pcm plain = decode_file(sample(GetParam().file), GetParam().requested_hz);
  allow_wide_vectors(true);
  const Pcm pcm = decode_file(sample(GetParam().file), GetParam().requested_hz);
  EXPECT_EQ(plain, pcm);
  EXPECT_EQ(pcm.size(), GetParam().samples);
  EXPECT_EQ(hash_of(pcm), GetParam().hash) << std::hex << hash_of(pcm);
}

std::string name_of(const testing::TestParamInfo<Entry>& info) {
  std::string name = info.param.file;
  if (info.param.requested_hz != 0) name += " at " + std::to_string(info.param.requested_hz);
  for (char& c : name) c = std::isalnum(static_cast<unsigned char>(c)) != 0 ? c : '_';
  return name;
}

INSTANTIATE_TEST_SUITE_P(Samples, PcmManifest, testing::ValuesIn(kManifest), name_of);

}  // namespace
}  // namespace zdr::aacdec
