// Decodes the spectral books: 1 to 4 code four values per word, 5 to 11 two; book 11 has escapes.
#include "aacdec/syntax/spectral_huffman.h"

#include <array>
#include <bit>
#include <cstring>

#include "aacdec/syntax/huffman.h"
#include "aacdec/tables/spectral_codes.h"

namespace zdr::aacdec {
namespace {

// Index bits of the first table; the second tables need at most 9 more.
constexpr int kFirstBits = 10;

// How the index of a codeword is split into values (ISO/IEC 14496-3, 4.6.3.3).
struct BookShape {
  int dimension;
  int modulus;
  int offset;           // subtracted from each value
  bool separate_signs;  // one sign bit follows for each value that is not 0
};

constexpr BookShape kShapes[12] = {{},
                                   {4, 3, 1, false},
                                   {4, 3, 1, false},
                                   {4, 3, 0, true},
                                   {4, 3, 0, true},
                                   {2, 9, 4, false},
                                   {2, 9, 4, false},
                                   {2, 8, 0, true},
                                   {2, 8, 0, true},
                                   {2, 13, 0, true},
                                   {2, 13, 0, true},
                                   {2, 17, 0, true}};

// The payloads of the tables are indices of kQuads or kPairs.
using Quad = std::array<int16_t, 4>;
using Pair = std::array<int16_t, 2>;
constexpr int kQuadCount = 5 * 5 * 5 * 5;
constexpr int kEscapeMagnitude = 16;
constexpr int kPlainSide = 2 * kEscapeMagnitude - 1;
// Pairs with an escape come after all others, so that one comparison finds them.
constexpr int kFirstEscapePair = kPlainSide * kPlainSide;
constexpr int kPairCount = (kPlainSide + 2) * (kPlainSide + 2);

constexpr int quad_payload(const int* v) {
  return ((v[0] + 2) * 5 + v[1] + 2) * 25 + (v[2] + 2) * 5 + v[3] + 2;
}

constexpr std::array<Pair, kPairCount> list_pairs() {
  std::array<Pair, kPairCount> pairs{};
  size_t plain = 0;
  size_t escaped = kFirstEscapePair;
  for (int a = -kEscapeMagnitude; a <= kEscapeMagnitude; ++a) {
    for (int b = -kEscapeMagnitude; b <= kEscapeMagnitude; ++b) {
      const bool escape =
          a == -kEscapeMagnitude || a == kEscapeMagnitude || b == -kEscapeMagnitude || b == kEscapeMagnitude;
      pairs[escape ? escaped++ : plain++] = {static_cast<int16_t>(a), static_cast<int16_t>(b)};
    }
  }
  return pairs;
}
constexpr std::array<Pair, kPairCount> kPairs = list_pairs();

constexpr std::array<uint16_t, kPairCount> index_pairs() {
  std::array<uint16_t, kPairCount> index{};
  for (size_t i = 0; i < kPairs.size(); ++i) {
    const int place = (kPairs[i][0] + kEscapeMagnitude) * (kPlainSide + 2) + kPairs[i][1] + kEscapeMagnitude;
    index[static_cast<size_t>(place)] = static_cast<uint16_t>(i);
  }
  return index;
}
constexpr std::array<uint16_t, kPairCount> kPairIndex = index_pairs();

constexpr std::array<Quad, kQuadCount> list_quads() {
  std::array<Quad, kQuadCount> quads{};
  for (int i = 0; i < kQuadCount; ++i) {
    quads[static_cast<size_t>(i)] = {static_cast<int16_t>(i / 125 - 2), static_cast<int16_t>(i / 25 % 5 - 2),
                                     static_cast<int16_t>(i / 5 % 5 - 2), static_cast<int16_t>(i % 5 - 2)};
  }
  return quads;
}
constexpr std::array<Quad, kQuadCount> kQuads = list_quads();

constexpr int payload_of(const int* values, int dimension) {
  if (dimension == 4) return quad_payload(values);
  const int row = values[0] + kEscapeMagnitude;
  const int column = values[1] + kEscapeMagnitude;
  return kPairIndex[static_cast<size_t>(row) * (kPlainSide + 2) + static_cast<size_t>(column)];
}

// Splits a codeword's index into values. Returns the number of sign bits that follow the codeword.
constexpr int split_index(const BookShape& shape, int index, int* values) {
  int signs = 0;
  for (int k = shape.dimension - 1; k >= 0; --k, index /= shape.modulus) {
    values[k] = index % shape.modulus - shape.offset;
    if (shape.separate_signs && values[k] != 0) ++signs;
  }
  return signs;
}

constexpr size_t signed_code_count(const BookShape& shape, size_t codes) {
  size_t count = 0;
  int values[4] = {};
  for (size_t i = 0; i < codes; ++i) count += size_t{1} << split_index(shape, static_cast<int>(i), values);
  return count;
}

template <size_t kCount>
struct SignedCodes {
  std::array<HuffmanCode, kCount> codes{};
  std::array<uint16_t, kCount> payloads{};
};

// Lists every codeword with every pattern of its sign bits.
template <size_t kCount>
constexpr SignedCodes<kCount> merge_signs(std::span<const HuffmanCode> codes, const BookShape& shape) {
  SignedCodes<kCount> merged;
  size_t next = 0;
  for (size_t i = 0; i < codes.size(); ++i) {
    int magnitudes[4] = {};
    const int signs = split_index(shape, static_cast<int>(i), magnitudes);
    for (uint32_t pattern = 0; pattern < uint32_t{1} << signs; ++pattern, ++next) {
      int values[4] = {};
      int unread = signs;
      for (int k = 0; k < shape.dimension; ++k) {
        const bool negative = shape.separate_signs && magnitudes[k] != 0 && (pattern >> --unread & 1) != 0;
        values[k] = negative ? -magnitudes[k] : magnitudes[k];
      }
      merged.codes[next] = {static_cast<uint8_t>(codes[i].length + signs), codes[i].word << signs | pattern};
      merged.payloads[next] = static_cast<uint16_t>(payload_of(values, shape.dimension));
    }
  }
  return merged;
}

template <int kBook, const auto& kCodes>
struct SpectralBook {
  static_assert(is_complete(kCodes));
  static constexpr auto kMerged =
      merge_signs<signed_code_count(kShapes[kBook], std::size(kCodes))>(kCodes, kShapes[kBook]);
  static constexpr auto kEntries =
      build_huffman_table<kFirstBits, huffman_table_size<kFirstBits>(kMerged.codes)>(kMerged.codes,
                                                                                     kMerged.payloads);
  static constexpr HuffmanTable kTable{kEntries.data(), kFirstBits};
  static_assert(decodes(kTable, kMerged.codes, kMerged.payloads));
};

constexpr HuffmanTable kTables[12] = {{},
                                      SpectralBook<1, kSpectralBook1>::kTable,
                                      SpectralBook<2, kSpectralBook2>::kTable,
                                      SpectralBook<3, kSpectralBook3>::kTable,
                                      SpectralBook<4, kSpectralBook4>::kTable,
                                      SpectralBook<5, kSpectralBook5>::kTable,
                                      SpectralBook<6, kSpectralBook6>::kTable,
                                      SpectralBook<7, kSpectralBook7>::kTable,
                                      SpectralBook<8, kSpectralBook8>::kTable,
                                      SpectralBook<9, kSpectralBook9>::kTable,
                                      SpectralBook<10, kSpectralBook10>::kTable,
                                      SpectralBook<11, kSpectralBook11>::kTable};

// Two words of up to 20 bits fit a refill.
static_assert(2 * HuffmanEntry::kMaxCodeLength <= BitCache::kRefilled);

void decode_quads(BitCache& bits, HuffmanTable table, int count, int16_t* out) {
  for (int i = 0; i < count; i += 4) {
    bits.refill();
    const int payload = table.take(bits);
    std::memcpy(out + i, kQuads[static_cast<size_t>(payload)].data(), sizeof(Quad));
  }
}

void decode_pairs(BitCache& bits, HuffmanTable table, int count, int16_t* out) {
  for (int i = 0; i < count; i += 4) {
    bits.refill();
    const int first = table.take(bits);
    const int second = table.take(bits);
    std::memcpy(out + i, kPairs[static_cast<size_t>(first)].data(), sizeof(Pair));
    std::memcpy(out + i + 2, kPairs[static_cast<size_t>(second)].data(), sizeof(Pair));
  }
}

// Reads an escape: N ones, a zero, and N + 4 bits w code 2^(N+4) + w.
//
// Kept: valid streams have N up to 8, but any N is accepted; the result is truncated to 16 bits.
uint16_t read_long_escape(BitCache& bits) {
  uint64_t prefix = 0;
  int run = std::countl_one(bits.window());
  while (run >= BitCache::kRefilled) {
    bits.consume(BitCache::kRefilled);
    prefix += BitCache::kRefilled;
    bits.refill();
    run = std::countl_one(bits.window());
  }
  prefix += static_cast<uint64_t>(run);
  bits.consume(run);
  bits.consume(1);
  bits.skip(prefix + 4 - 16);
  return static_cast<uint16_t>(bits.take(16));
}

uint16_t read_escape(BitCache& bits) {
  bits.refill();
  const int run = std::countl_one(bits.window());
  const int width = run + 4;
  if (width >= 16) [[unlikely]]
    return read_long_escape(bits);
  const uint64_t low = bits.window() << (run + 1) >> (64 - width);
  bits.consume(run + 1 + width);
  return static_cast<uint16_t>((uint64_t{1} << width) + low);
}

int16_t escaped_value(BitCache& bits, int16_t value) {
  if (value != kEscapeMagnitude && value != -kEscapeMagnitude) return value;
  const uint16_t magnitude = read_escape(bits);
  return static_cast<int16_t>(value < 0 ? static_cast<uint16_t>(-magnitude) : magnitude);
}

void decode_escaped_pairs(BitCache& bits, HuffmanTable table, int count, int16_t* out) {
  for (int i = 0; i < count; i += 2) {
    bits.refill();
    const auto payload = static_cast<size_t>(table.take(bits));
    Pair pair = kPairs[payload];
    if (payload >= kFirstEscapePair) [[unlikely]] {
      pair[0] = escaped_value(bits, pair[0]);
      pair[1] = escaped_value(bits, pair[1]);
    }
    std::memcpy(out + i, pair.data(), sizeof(Pair));
  }
}

// The words without escapes that lie completely within kSkipBits bits.
class Skip {
 public:
  constexpr Skip() = default;
  constexpr Skip(int words, int length) : bits_(static_cast<uint8_t>(words << 4 | length)) {}
  constexpr int words() const { return bits_ >> 4; }
  constexpr int length() const { return bits_ & 15; }

 private:
  uint8_t bits_ = 0;
};
constexpr int kSkipBits = 12;
// The lookups after a refill, the last one perhaps of a single word.
constexpr int kLookups = 4;
static_assert((kLookups - 1) * kSkipBits + HuffmanEntry::kMaxCodeLength <= BitCache::kRefilled);

constexpr bool has_escape(int book, int payload) {
  return book == kLastSpectralBook && payload >= kFirstEscapePair;
}

using SkipTable = std::array<Skip, size_t{1} << kSkipBits>;

template <int kBook>
constexpr SkipTable kSkipsOfBook = [] {
  SkipTable skips;
  for (size_t i = 0; i < skips.size(); ++i) {
    const uint64_t window = uint64_t{i} << (64 - kSkipBits);
    int words = 0;
    int length = 0;
    for (;; ++words) {
      const HuffmanEntry entry = kTables[kBook].find(window << length);
      // A longer word continues after these bits.
      if (length + entry.length() > kSkipBits || has_escape(kBook, entry.payload())) break;
      length += entry.length();
    }
    skips[i] = Skip(words, length);
  }
  return skips;
}();

constexpr const SkipTable* kSkips[12] = {nullptr,          &kSkipsOfBook<1>,  &kSkipsOfBook<2>,
                                         &kSkipsOfBook<3>, &kSkipsOfBook<4>,  &kSkipsOfBook<5>,
                                         &kSkipsOfBook<6>, &kSkipsOfBook<7>,  &kSkipsOfBook<8>,
                                         &kSkipsOfBook<9>, &kSkipsOfBook<10>, &kSkipsOfBook<11>};

void skip_word(BitCache& bits, int book) {
  const int payload = kTables[book].take(bits);
  if (!has_escape(book, payload)) return;
  for (const int16_t value : kPairs[static_cast<size_t>(payload)]) escaped_value(bits, value);
}

void skip_words(BitCache& bits, int book, int count) {
  const SkipTable& skips = *kSkips[book];
  while (count > 0) {
    bits.refill();
    for (int i = 0; i < kLookups && count > 0; ++i) {
      const Skip skip = skips[bits.window() >> (64 - kSkipBits)];
      if (skip.words() == 0 || skip.words() > count) {
        skip_word(bits, book);
        --count;
        break;
      }
      bits.consume(skip.length());
      count -= skip.words();
    }
  }
}

}  // namespace

bool decode_spectral_values(BitCache& bits, int book, std::span<int16_t> values) {
  const HuffmanTable table = kTables[book];
  const auto count = static_cast<int>(values.size());
  if (kShapes[book].dimension == 4) {
    decode_quads(bits, table, count, values.data());
  } else if (book == kLastSpectralBook) {
    decode_escaped_pairs(bits, table, count, values.data());
  } else {
    decode_pairs(bits, table, count, values.data());
  }
  return !bits.past_end();
}

bool skip_spectral_values(BitCache& bits, int book, int count) {
  skip_words(bits, book, kShapes[book].dimension == 4 ? count / 4 : count / 2);
  return !bits.past_end();
}

}  // namespace zdr::aacdec
