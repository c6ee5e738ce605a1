// Escapes of the spectral books. The compiler checks the tables of the books, and real files use all of them.
#include "aacdec/syntax/spectral_huffman.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "aacdec/tables/spectral_codes.h"
#include "mediakit/aac/bit_writer.h"

namespace zdr::test {
namespace {

using namespace aacdec;

// An escape is N ones, a zero, and N + 4 bits w, and codes 2^(N+4) + w.
TEST(SpectralBooks, KeptEscapesMayHaveAnyPrefixAndKeep16Bits) {
  std::mt19937 random(2);
  for (size_t prefix = 0; prefix <= 300; ++prefix) {
    for (const bool negative : {false, true}) {
      BitWriter w = BitWriter().put(kSpectralBook11[16 * 17]).put(negative ? 1 : 0, 1);
      w.pad_to(w.size() + prefix, true).put(0, 1);
      uint32_t value = prefix < 12 ? 1 : 0;
      for (size_t i = 0; i < prefix + 4; ++i) {
        const uint32_t bit = random() % 2;
        value = value << 1 | bit;
        w.put(bit, 1);
      }
      const Bytes bytes = w.put(kSpectralBook11[0]).bytes();
      BitReader reader(bytes.data(), bytes.size());
      BitReader skipper = reader;
      std::vector<int16_t> values(4, 77);
      ASSERT_TRUE(decode_spectral_values(reader, 11, values) && skip_spectral_values(skipper, {{{11, 4}}}));
      ASSERT_EQ(values[0], static_cast<int16_t>(negative ? 0 - value : value)) << prefix;
      ASSERT_EQ(values[1] | values[2] | values[3], 0);
      ASSERT_TRUE(reader.position() == w.size() && skipper.position() == w.size()) << prefix;
    }
  }
  // Ones up to the end of the data.
  const Bytes ones(500, 0xFF);
  BitReader reader(ones.data(), ones.size());
  int16_t values[1024];
  EXPECT_FALSE(decode_spectral_values(reader, 11, values));
}

}  // namespace
}  // namespace zdr::test
