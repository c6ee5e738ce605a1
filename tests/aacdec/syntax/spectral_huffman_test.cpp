#include "aacdec/syntax/spectral_huffman.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <vector>

#include "aacdec/tables/spectral_codes.h"
#include "mediakit/aac/bit_writer.h"

namespace zdr::aacdec {
namespace {

using test::BitWriter;

struct PlainBook {
  std::span<const HuffmanCode> codes;
  int dimension;
  int modulus;
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

// Writes one word as the standard describes it: codeword, sign bits of the values that aren't 0, escapes.
void write_word(BitWriter& writer, int number, const int* values) {
  const PlainBook& book = kBooks[number];
  const bool escapes = number == 11;
  const int offset = book.is_signed ? book.modulus / 2 : 0;
  int index = 0;
  for (int k = 0; k < book.dimension; ++k) {
    const int digit = book.is_signed ? values[k] + offset : std::min(std::abs(values[k]), book.modulus - 1);
    index = index * book.modulus + digit;
  }
  writer.put(book.codes[static_cast<size_t>(index)]);
  for (int k = 0; k < book.dimension && !book.is_signed; ++k) {
    if (values[k] != 0) writer.put(values[k] < 0 ? 1 : 0, 1);
  }
  for (int k = 0; k < book.dimension && escapes; ++k) {
    const int magnitude = std::abs(values[k]);
    if (magnitude < 16) continue;
    int prefix = 0;
    while (magnitude >> (prefix + 5) != 0) ++prefix;
    writer.put((1U << prefix) - 1, prefix).put(0, 1);
    writer.put(static_cast<uint64_t>(magnitude) & ((1U << (prefix + 4)) - 1), prefix + 4);
  }
}

int random_value(std::mt19937& random, int number) {
  const PlainBook& book = kBooks[number];
  const int largest = book.is_signed ? book.modulus / 2 : book.modulus - 1;
  int magnitude = static_cast<int>(random() % static_cast<unsigned>(largest + 1));
  if (number == 11 && magnitude == 16) magnitude = 16 + static_cast<int>(random() % (8192U >> random() % 10));
  return random() % 2 != 0 ? -magnitude : magnitude;
}

class SpectralBooks : public testing::TestWithParam<int> {};

TEST_P(SpectralBooks, DecodeWhatAPlainEncoderWrote) {
  const int book = GetParam();
  std::mt19937 random(static_cast<unsigned>(book));
  for (int round = 0; round < 400; ++round) {
    const size_t count = 4 * (1 + random() % 40);
    const int start = static_cast<int>(random() % 64);
    BitWriter writer;
    writer.put(0, start);
    std::vector<int16_t> expected(count);
    for (size_t i = 0; i < count; i += static_cast<size_t>(kBooks[book].dimension)) {
      int values[4] = {};
      for (int k = 0; k < kBooks[book].dimension; ++k) {
        values[k] = random_value(random, book);
        expected[i + static_cast<size_t>(k)] = static_cast<int16_t>(values[k]);
      }
      write_word(writer, book, values);
    }
    const auto bytes = writer.bytes();
    BitReader reader(bytes.data(), bytes.size());
    reader.skip(static_cast<uint64_t>(start));
    std::vector<int16_t> decoded(count);
    ASSERT_TRUE(decode_spectral_values(reader, book, decoded));
    ASSERT_EQ(decoded, expected);
    ASSERT_EQ(reader.position(), writer.size());

    BitReader skipper(bytes.data(), bytes.size());
    skipper.skip(static_cast<uint64_t>(start));
    ASSERT_TRUE(skip_spectral_values(skipper, book, static_cast<int>(count)));
    ASSERT_EQ(skipper.position(), writer.size());

    // Cut anywhere, the words read on as zeros; that shows once the last one ends behind the data.
    const size_t left = random() % (bytes.size() + 1);
    BitReader cut(bytes.data(), left);
    cut.skip(static_cast<uint64_t>(start));
    const bool whole = skip_spectral_values(cut, book, static_cast<int>(count));
    ASSERT_EQ(whole, cut.position() / 8 <= left);
  }
}

INSTANTIATE_TEST_SUITE_P(All, SpectralBooks, testing::Range(1, 12));

// A pair of an escape with `prefix` ones and the given bits, and a 0.
int16_t decode_escape(int prefix, uint64_t word, bool negative) {
  BitWriter writer;
  writer.put(kSpectralBook11[16 * 17]).put(negative ? 1 : 0, 1);
  for (int i = 0; i < prefix; ++i) writer.put(1, 1);
  writer.put(0, 1);
  for (int width = prefix + 4; width > 64; --width) writer.put(0, 1);
  writer.put(word, std::min(prefix + 4, 64));
  writer.put(kSpectralBook11[0]);
  const auto bytes = writer.bytes();
  BitReader reader(bytes.data(), bytes.size());
  int16_t values[4] = {};
  EXPECT_TRUE(decode_spectral_values(reader, 11, values));
  EXPECT_EQ(reader.position(), writer.size());
  return values[0];
}

TEST(SpectralEscape, RequiredOfAnyPrefixLength) {
  struct Case {
    int prefix;
    uint64_t word;
    bool negative;
    int expected;  // 16 bits of what a longer one stands for
  };
  const Case cases[] = {{8, 4095, false, 8191}, {9, 0, false, 8192},  {9, 8191, true, -16383},
                        {11, 0, false, -32768}, {12, 5, false, 5},    {12, 5, true, -5},
                        {56, 77, false, 77},    {300, 78, true, -78}, {55, 0x1234567, false, 0x4567}};
  for (const Case& c : cases) EXPECT_EQ(decode_escape(c.prefix, c.word, c.negative), c.expected) << c.prefix;
  // Ones up to the end of the data.
  const std::vector<uint8_t> ones(500, 0xFF);
  BitReader reader(ones.data(), ones.size());
  int16_t values[1024];
  EXPECT_FALSE(decode_spectral_values(reader, 11, values));
}

}  // namespace
}  // namespace zdr::aacdec
