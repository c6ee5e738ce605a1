// Decodes the spectral books: 1 to 4 code four values per word, 5 to 11 two; book 11 has escapes.
#include "aacdec/syntax/spectral_huffman.h"

#include <array>
#include <bit>
#include <cstring>

#include "aacdec/syntax/huffman.h"
#include "aacdec/syntax/huffman_skip.h"
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

void decode_quads(BitReader& reader, HuffmanTable table, int count, int16_t* out) {
  BitCache bits(reader);
  for (int i = 0; i < count; i += 4) {
    bits.refill();
    const int payload = table.take(bits);
    std::memcpy(out + i, kQuads[static_cast<size_t>(payload)].data(), sizeof(Quad));
  }
  reader.seek(bits.position());
}

void decode_pairs(BitReader& reader, HuffmanTable table, int count, int16_t* out) {
  BitCache bits(reader);
  for (int i = 0; i < count; i += 4) {
    bits.refill();
    const int first = table.take(bits);
    const int second = table.take(bits);
    std::memcpy(out + i, kPairs[static_cast<size_t>(first)].data(), sizeof(Pair));
    std::memcpy(out + i + 2, kPairs[static_cast<size_t>(second)].data(), sizeof(Pair));
  }
  reader.seek(bits.position());
}

constexpr bool is_escape(int16_t value) {
  return value == kEscapeMagnitude || value == -kEscapeMagnitude;
}

struct LongEscape {
  uint16_t value;
  uint64_t end;  // position
};

// Reads an escape: N ones, a zero, and N + 4 bits w code 2^(N+4) + w.
//
// Kept: valid streams have N up to 8, but any N is accepted; the result is truncated to 16 bits.
[[gnu::noinline]] LongEscape read_long_escape(BitReader reader) {
  constexpr int kWindow = 57;
  uint64_t prefix = 0;
  int run = std::countl_one(reader.window());
  while (run >= kWindow) {
    reader.skip(kWindow);
    prefix += kWindow;
    run = std::countl_one(reader.window());
  }
  prefix += static_cast<uint64_t>(run);
  reader.skip(static_cast<uint64_t>(run) + 1 + prefix + 4 - 16);
  const auto value = static_cast<uint16_t>(reader.read(16));
  return {value, reader.position()};
}

// The most bits of an escape whose prefix has up to 11 ones, prefix included.
constexpr int kShortEscapeBits = 2 * 11 + 5;
static_assert(HuffmanEntry::kMaxCodeLength + kShortEscapeBits <= BitCache::kRefilled);

// Needs kShortEscapeBits valid bits.
[[gnu::always_inline]] inline uint16_t read_escape(BitCache& bits) {
  const int run = std::countl_one(bits.window());
  const int width = run + 4;
  if (width >= 16) [[unlikely]] {
    const LongEscape escape = read_long_escape(bits.reader());
    bits.seek(escape.end);
    return escape.value;
  }
  const uint64_t low = bits.window() << (run + 1) >> (64 - width);
  bits.consume(run + 1 + width);
  return static_cast<uint16_t>((uint64_t{1} << width) + low);
}

[[gnu::always_inline]] inline void skip_escape(BitCache& bits) {
  bits.require(kShortEscapeBits);
  read_escape(bits);
}

[[gnu::always_inline]] inline int16_t escaped_value(BitCache& bits, int16_t value) {
  if (!is_escape(value)) return value;
  bits.require(kShortEscapeBits);
  const uint16_t magnitude = read_escape(bits);
  return static_cast<int16_t>(value < 0 ? static_cast<uint16_t>(-magnitude) : magnitude);
}

[[gnu::always_inline]] inline Pair read_escaped_pair(BitCache& bits, HuffmanTable table) {
  const auto payload = static_cast<size_t>(table.take(bits));
  Pair pair = kPairs[payload];
  if (payload >= kFirstEscapePair) [[unlikely]] {
    pair[0] = escaped_value(bits, pair[0]);
    pair[1] = escaped_value(bits, pair[1]);
  }
  return pair;
}

void decode_escaped_pairs(BitReader& reader, HuffmanTable table, int count, int16_t* out) {
  BitCache bits(reader);
  for (int i = 0; i < count; i += 2) {
    bits.refill();
    const Pair pair = read_escaped_pair(bits, table);
    std::memcpy(out + i, pair.data(), sizeof(Pair));
  }
  reader.seek(bits.position());
}

struct PairEscapes {
  static constexpr int count(int payload) {
    const Pair& pair = kPairs[static_cast<size_t>(payload)];
    return (is_escape(pair[0]) ? 1 : 0) + (is_escape(pair[1]) ? 1 : 0);
  }
  [[gnu::always_inline]] static inline void skip(BitCache& bits, int number) {
    if (number > 0) skip_escape(bits);
    if (number > 1) skip_escape(bits);
  }
};

template <int kBook>
constexpr HuffmanSkipTable kSkipsOfBook = make_skip_table<NoEscapes>(kTables[kBook]);
template <>
constexpr HuffmanSkipTable kSkipsOfBook<kLastSpectralBook> =
    make_skip_table<PairEscapes>(kTables[kLastSpectralBook]);

constexpr const HuffmanSkipTable* kSkips[12] = {nullptr,          &kSkipsOfBook<1>,  &kSkipsOfBook<2>,
                                                &kSkipsOfBook<3>, &kSkipsOfBook<4>,  &kSkipsOfBook<5>,
                                                &kSkipsOfBook<6>, &kSkipsOfBook<7>,  &kSkipsOfBook<8>,
                                                &kSkipsOfBook<9>, &kSkipsOfBook<10>, &kSkipsOfBook<11>};

}  // namespace

bool decode_spectral_values(BitReader& reader, int book, std::span<int16_t> values) {
  const HuffmanTable table = kTables[book];
  const auto count = static_cast<int>(values.size());
  if (kShapes[book].dimension == 4) {
    decode_quads(reader, table, count, values.data());
  } else if (book == kLastSpectralBook) {
    decode_escaped_pairs(reader, table, count, values.data());
  } else {
    decode_pairs(reader, table, count, values.data());
  }
  return !reader.past_end();
}

bool skip_spectral_values(BitReader& reader, std::span<const SpectralRun> runs) {
  BitCache bits(reader);
  for (const SpectralRun run : runs) {
    const int words = run.count >> (kShapes[run.book].dimension == 4 ? 2 : 1);
    if (run.book == kLastSpectralBook) {
      bits = skip_words<PairEscapes>(bits, kTables[kLastSpectralBook], *kSkips[kLastSpectralBook], words);
    } else {
      bits = skip_words<NoEscapes>(bits, kTables[run.book], *kSkips[run.book], words);
    }
  }
  reader.seek(bits.position());
  return !reader.past_end();
}

}  // namespace zdr::aacdec
