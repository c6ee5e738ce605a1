// Applies the kinds of damage.
#include "mediakit/files/mutator.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace zdr::test {
namespace {

// Numbers at which size arithmetic may fail.
constexpr std::array<uint32_t, 14> kOddNumbers = {
    0, 1, 7, 8, 9, 16, 20, 0xFF, 0xFFFF, 0x7FFFFFFF, 0x80000000, 0xFFFFFFF0, 0xFFFFFFFE, 0xFFFFFFFF};

constexpr std::array<std::string_view, 24> kTypes = {
    "moov", "trak", "mdia", "minf", "stbl", "stsd", "mdhd", "hdlr", "stts", "stsz", "stsc", "stco",
    "elst", "edts", "tkhd", "mvhd", "esds", "avcC", "dinf", "dref", "ctts", "stss", "stdp", "iods"};

// Returns the offset of a box type, so that headers are damaged as well as media data.
size_t find_header(const Bytes& bytes, std::string_view type, size_t from) {
  const auto found =
      std::search(bytes.begin() + static_cast<int64_t>(from), bytes.end(), type.begin(), type.end());
  return found == bytes.end() ? bytes.size() : static_cast<size_t>(found - bytes.begin());
}

}  // namespace

void Mutator::damage_once(Bytes& bytes) {
  if (bytes.size() < 16) return;
  const size_t anywhere = below(bytes.size() - 8);
  const size_t type_at = find_header(bytes, kTypes[below(kTypes.size())], below(2) == 0 ? 0 : anywhere);
  const bool found = type_at >= 4 && type_at + 16 < bytes.size();
  switch (below(8)) {
    case 0:
      bytes[anywhere] ^= static_cast<uint8_t>(1u << below(8));
      break;
    case 1:
      store_be32(bytes, anywhere, kOddNumbers[below(kOddNumbers.size())]);
      break;
    case 2:  // the size of a box
      if (found) store_be32(bytes, type_at - 4, kOddNumbers[below(kOddNumbers.size())]);
      break;
    case 3:  // the size of a box, by a few bytes
      if (found) store_be32(bytes, type_at - 4, load_be32(bytes, type_at - 4) + below(17) - 8);
      break;
    case 4:  // one of the first fields of a box
      if (found) store_be32(bytes, type_at + 4 + below(8), kOddNumbers[below(kOddNumbers.size())]);
      break;
    case 5:
      bytes.resize(anywhere);
      break;
    case 6: {  // a box type
      const std::string_view type = kTypes[below(kTypes.size())];
      if (found) std::copy(type.begin(), type.end(), bytes.begin() + static_cast<int64_t>(type_at));
      break;
    }
    default: {  // a repeated piece
      const auto start = bytes.begin() + static_cast<int64_t>(anywhere);
      const Bytes piece(start, start + std::min<int64_t>(below(64), bytes.end() - start));
      bytes.insert(start, piece.begin(), piece.end());
      break;
    }
  }
}

Bytes Mutator::damaged(const Bytes& original) {
  Bytes bytes = original;
  for (uint32_t times = 1 + below(4); times > 0; --times) damage_once(bytes);
  return bytes;
}

}  // namespace zdr::test
