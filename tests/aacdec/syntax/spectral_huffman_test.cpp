// Decodes random bits with each spectral book and compares the result with a search that takes one bit at a
// time. The books are complete, so any bits are valid words.
#include "aacdec/syntax/spectral_huffman.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <random>
#include <span>
#include <vector>

#include "aacdec/tables/spectral_codes.h"
#include "mediakit/aac/bit_writer.h"

namespace zdr::test {
namespace {

using namespace aacdec;

const std::span<const HuffmanCode> kCodes[11] = {
    kSpectralBook1, kSpectralBook2, kSpectralBook3, kSpectralBook4,  kSpectralBook5, kSpectralBook6,
    kSpectralBook7, kSpectralBook8, kSpectralBook9, kSpectralBook10, kSpectralBook11};
constexpr int kModuli[12] = {0, 3, 3, 3, 3, 9, 9, 8, 8, 13, 13, 17};
constexpr bool kIsSigned[12] = {false, true, true, false, false, true, true};

size_t dimension(int book) {
  return book < 5 ? 4 : 2;
}

// Returns the low 16 bits of 2^(N+4) + w, coded as N ones, a zero and N + 4 bits w.
int plain_escape(BitReader& reader) {
  size_t width = 4;
  while (reader.read_bit()) ++width;
  uint32_t value = 0;
  for (size_t i = 0; i < width; ++i) value = value << 1 | reader.read(1);
  return static_cast<uint16_t>(value + (width < 16 ? 1U << width : 0));
}

// Reads a codeword, the signs of its values unless the book includes them, and escapes.
void plain_word(BitReader& reader, int book, std::span<int16_t> values) {
  const auto codes = kCodes[book - 1];
  HuffmanCode code{0, 0};
  auto found = codes.end();
  while (found == codes.end()) {
    code = {static_cast<uint8_t>(code.length + 1), code.word << 1 | reader.read(1)};
    found = std::ranges::find_if(
        codes, [&](const HuffmanCode& c) { return c.length == code.length && c.word == code.word; });
  }
  int index = static_cast<int>(found - codes.begin());
  for (size_t k = values.size(); k-- > 0; index /= kModuli[book]) {
    values[k] = static_cast<int16_t>(index % kModuli[book] - (kIsSigned[book] ? kModuli[book] / 2 : 0));
  }
  for (int16_t& value : values) {
    if (!kIsSigned[book] && value != 0 && reader.read_bit()) value = static_cast<int16_t>(-value);
  }
  for (int16_t& value : values) {
    if (book != 11 || std::abs(value) != 16) continue;
    value = static_cast<int16_t>(plain_escape(reader) * (value < 0 ? -1 : 1));
  }
}

void expect_plain_values(const Bytes& bytes, int book, size_t count, size_t start) {
  BitReader plain(bytes.data(), bytes.size());
  plain.skip(start);
  BitReader reader = plain;
  BitReader skipper = plain;
  std::vector<int16_t> expected(count);
  for (size_t i = 0; i < count; i += dimension(book)) {
    plain_word(plain, book, std::span(expected).subspan(i, dimension(book)));
  }
  std::vector<int16_t> decoded(count);
  ASSERT_EQ(decode_spectral_values(reader, book, decoded), !plain.past_end());
  ASSERT_EQ(skip_spectral_values(skipper, book, static_cast<int>(count)), !plain.past_end());
  ASSERT_EQ(decoded, expected);
  ASSERT_EQ(reader.position(), plain.position());
  ASSERT_EQ(skipper.position(), plain.position());
}

TEST(SpectralBooks, DecodeAndSkipAnyBits) {
  std::mt19937 random(1);
  for (int book = 1; book <= 11; ++book) {
    for (int round = 0; round < 100; ++round) {
      Bytes bytes(random() % 120);
      for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random());
      expect_plain_values(bytes, book, 4 * (1 + random() % 40), random() % 64);
      if (HasFatalFailure()) FAIL() << "book " << book << ", round " << round;
    }
  }
}

TEST(SpectralBooks, KeptEscapesMayHaveAnyPrefixAndKeep16Bits) {
  std::mt19937 random(2);
  for (size_t prefix = 0; prefix <= 300; ++prefix) {
    for (const uint64_t sign : {0, 1}) {
      BitWriter w = BitWriter().put(kSpectralBook11[16 * 17]).put(sign, 1);
      w.pad_to(w.size() + prefix, true).put(0, 1);
      for (size_t i = 0; i < prefix + 4; ++i) w.put(random() % 2, 1);
      expect_plain_values(w.put(kSpectralBook11[0]).bytes(), 11, 4, 0);
      ASSERT_FALSE(HasFatalFailure()) << prefix;
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
