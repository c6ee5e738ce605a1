// Decodes random bits with each spectral book and compares the result with a search that takes one bit at a
// time. The books are complete, so any bits are valid words.
#include "aacdec/syntax/spectral_huffman.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <random>
#include <vector>

#include "aacdec/tables/spectral_codes.h"
#include "mediakit/aac/bit_writer.h"

namespace zdr::test {
namespace {

using namespace aacdec;

struct PlainBook {
  std::span<const HuffmanCode> codes;
  int dimension, modulus;
  bool is_signed;
};

const PlainBook kBooks[12] = {{},
                              {kSpectralBook1, 4, 3, true},
                              {kSpectralBook2, 4, 3, true},
                              {kSpectralBook3, 4, 3, false},
                              {kSpectralBook4, 4, 3, false},
                              {kSpectralBook5, 2, 9, true},
                              {kSpectralBook6, 2, 9, true},
                              {kSpectralBook7, 2, 8, false},
                              {kSpectralBook8, 2, 8, false},
                              {kSpectralBook9, 2, 13, false},
                              {kSpectralBook10, 2, 13, false},
                              {kSpectralBook11, 2, 17, false}};

// Returns the low 16 bits of 2^(N+4) + w, coded as N ones, a zero and N + 4 bits w.
int plain_escape(BitReader& reader) {
  size_t width = 4;
  while (reader.read_bit()) ++width;
  uint32_t value = 0;
  for (size_t i = 0; i < width; ++i) value = value << 1 | reader.read(1);
  return static_cast<uint16_t>(value + (width < 16 ? 1U << width : 0));
}

// Reads a codeword, the signs of its values unless the book includes them, and escapes.
void plain_word(BitReader& reader, const PlainBook& book, int16_t* values) {
  HuffmanCode code{0, 0};
  auto found = book.codes.end();
  while (found == book.codes.end()) {
    code = {static_cast<uint8_t>(code.length + 1), code.word << 1 | reader.read(1)};
    found = std::find_if(book.codes.begin(), book.codes.end(), [&](const HuffmanCode& c) {
      return c.length == code.length && c.word == code.word;
    });
  }
  int index = static_cast<int>(found - book.codes.begin());
  for (int k = book.dimension; k-- > 0; index /= book.modulus) {
    values[k] = static_cast<int16_t>(index % book.modulus - (book.is_signed ? book.modulus / 2 : 0));
  }
  for (int k = 0; k < book.dimension && !book.is_signed; ++k) {
    if (values[k] != 0 && reader.read_bit()) values[k] = static_cast<int16_t>(-values[k]);
  }
  for (int k = 0; k < book.dimension && book.modulus == 17; ++k) {
    if (std::abs(values[k]) != 16) continue;
    values[k] = static_cast<int16_t>(plain_escape(reader) * (values[k] < 0 ? -1 : 1));
  }
}

void expect_plain_values(const Bytes& bytes, int number, size_t count, size_t start) {
  const PlainBook& book = kBooks[number];
  BitReader plain(bytes.data(), bytes.size());
  plain.skip(start);
  BitReader reader = plain;
  BitReader skipper = plain;
  std::vector<int16_t> expected(count);
  for (size_t i = 0; i < count; i += static_cast<size_t>(book.dimension)) {
    plain_word(plain, book, &expected[i]);
  }
  std::vector<int16_t> decoded(count);
  ASSERT_EQ(decode_spectral_values(reader, number, decoded), !plain.past_end());
  ASSERT_EQ(skip_spectral_values(skipper, number, static_cast<int>(count)), !plain.past_end());
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
