#include "aacdec/bit_reader.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace zdr::aacdec {
namespace {

// One bit at a time, zeros behind the data.
class PlainReader {
 public:
  explicit PlainReader(const std::vector<uint8_t>& data) : data_(data) {}
  uint32_t read(int bits) {
    uint32_t value = 0;
    for (int i = 0; i < bits; ++i, ++position_) {
      const size_t byte = position_ / 8;
      const int bit = byte < data_.size() ? data_[byte] >> (7 - position_ % 8) & 1 : 0;
      value = value << 1 | static_cast<uint32_t>(bit);
    }
    return value;
  }
  void skip(size_t bits) { position_ += bits; }
  size_t position() const { return position_; }

 private:
  const std::vector<uint8_t>& data_;
  size_t position_ = 0;
};

std::vector<uint8_t> random_bytes(std::mt19937& random, size_t count) {
  std::vector<uint8_t> data(count);
  for (uint8_t& byte : data) byte = static_cast<uint8_t>(random());
  return data;
}

TEST(BitReader, AgreesWithAPlainReaderInsideAndBehindTheData) {
  std::mt19937 random(1);
  for (int round = 0; round < 2000; ++round) {
    const auto data = random_bytes(random, random() % 40);
    BitReader reader(data.data(), data.size());
    PlainReader plain(data);
    for (int step = 0; step < 40; ++step) {
      const int bits = static_cast<int>(random() % 33);
      const uint32_t peeked = reader.peek(bits);
      switch (random() % 4) {
        case 0:
          reader.skip(static_cast<uint64_t>(bits));
          plain.skip(static_cast<size_t>(bits));
          break;
        case 1:
          reader.byte_align();
          plain.skip((8 - plain.position() % 8) % 8);
          break;
        default: {
          const uint32_t expected = plain.read(bits);
          ASSERT_EQ(peeked, expected);
          ASSERT_EQ(reader.read(bits), expected);
        }
      }
      ASSERT_EQ(reader.position(), plain.position());
      ASSERT_EQ(reader.past_end(), plain.position() / 8 > data.size());
    }
  }
}

}  // namespace
}  // namespace zdr::aacdec
