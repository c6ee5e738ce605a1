// Huffman books as two-level lookup tables, built at compile time from {length, codeword} lists.
//
// The first `first_bits` bits of a word select an entry: the decoded word, or for longer codes a link to a
// second table, indexed by the following bits. Decoding a word takes one or two loads. Static assertions
// prove that each table decodes its list.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "aacdec/syntax/bit_reader.h"
#include "aacdec/tables/huffman_code.h"

namespace zdr::aacdec {

// A table entry: payload (11 bits) and length (5 bits). With a length up to kMaxCodeLength, the payload is
// the decoded index. With a greater length the entry is a link: the payload is the start of the second table,
// and the excess over kMaxCodeLength is the number of bits that index it.
class HuffmanEntry {
 public:
  static constexpr int kMaxCodeLength = 20;
  static constexpr int kMaxPayload = 2047;

  constexpr HuffmanEntry() = default;
  constexpr HuffmanEntry(int payload, int length) : bits_(static_cast<uint16_t>(payload << 5 | length)) {}
  constexpr int payload() const { return bits_ >> 5; }
  constexpr int length() const { return bits_ & 31; }
  constexpr bool is_link() const { return length() > kMaxCodeLength; }
  constexpr int link_bits() const { return length() - kMaxCodeLength; }

 private:
  uint16_t bits_ = 0;
};

struct HuffmanTable {
  const HuffmanEntry* entries;
  int first_bits;

  // Decodes the word at the left of `window`, which holds at least kMaxCodeLength bits.
  constexpr HuffmanEntry find(uint64_t window) const {
    HuffmanEntry entry = entries[window >> (64 - first_bits)];
    if (entry.is_link()) [[unlikely]] {
      entry = entries[static_cast<uint64_t>(entry.payload()) +
                      ((window << first_bits) >> (64 - entry.link_bits()))];
    }
    return entry;
  }
  // Decodes one word, whose bits must be valid in the cache.
  int take(BitCache& bits) const {
    const HuffmanEntry entry = find(bits.window());
    bits.consume(entry.length());
    return entry.payload();
  }
  int read(BitReader& reader) const {
    const HuffmanEntry entry = find(reader.window());
    reader.skip(static_cast<uint64_t>(entry.length()));
    return entry.payload();
  }
};

// For each value of the first `kFirstBits` bits, the number of bits that index its second table; 0 without
// one.
template <int kFirstBits>
constexpr std::array<uint8_t, size_t{1} << kFirstBits> link_widths(std::span<const HuffmanCode> codes) {
  std::array<uint8_t, size_t{1} << kFirstBits> widths{};
  for (const HuffmanCode& code : codes) {
    if (code.length <= kFirstBits) continue;
    const int rest = code.length - kFirstBits;
    uint8_t& width = widths[code.word >> rest];
    width = std::max(width, static_cast<uint8_t>(rest));
  }
  return widths;
}

template <int kFirstBits>
constexpr size_t huffman_table_size(std::span<const HuffmanCode> codes) {
  size_t size = size_t{1} << kFirstBits;
  for (const uint8_t width : link_widths<kFirstBits>(codes)) size += width == 0 ? 0 : size_t{1} << width;
  return size;
}

// True if the codes fill the code space: every bit pattern begins with exactly one word.
constexpr bool is_complete(std::span<const HuffmanCode> codes) {
  uint64_t filled = 0;
  for (const HuffmanCode& code : codes) filled += uint64_t{1} << (32 - code.length);
  return filled == uint64_t{1} << 32;
}

// Builds the table of `codes`; codes[i] decodes to payloads[i], or to i without payloads.
template <int kFirstBits, size_t kSize>
constexpr std::array<HuffmanEntry, kSize> build_huffman_table(std::span<const HuffmanCode> codes,
                                                              std::span<const uint16_t> payloads = {}) {
  std::array<HuffmanEntry, kSize> table{};
  size_t next = size_t{1} << kFirstBits;
  const auto widths = link_widths<kFirstBits>(codes);
  for (size_t prefix = 0; prefix < widths.size(); ++prefix) {
    if (widths[prefix] == 0) continue;
    table[prefix] = HuffmanEntry(static_cast<int>(next), HuffmanEntry::kMaxCodeLength + widths[prefix]);
    next += size_t{1} << widths[prefix];
  }
  for (size_t i = 0; i < codes.size(); ++i) {
    const HuffmanCode& code = codes[i];
    const HuffmanEntry entry(payloads.empty() ? static_cast<int>(i) : payloads[i], code.length);
    size_t start = 0;
    int free_bits = kFirstBits - code.length;
    if (free_bits < 0) {
      const int rest = -free_bits;
      const HuffmanEntry link = table[code.word >> rest];
      free_bits = link.link_bits() - rest;
      const uint32_t low = code.word & ((uint32_t{1} << rest) - 1);
      start = static_cast<size_t>(link.payload()) + (size_t{low} << free_bits);
    } else {
      start = size_t{code.word} << free_bits;
    }
    for (size_t k = 0; k < size_t{1} << free_bits; ++k) table[start + k] = entry;
  }
  return table;
}

// True if the table decodes every word of its list; catches links that do not fit their entries.
constexpr bool decodes(const HuffmanTable& table, std::span<const HuffmanCode> codes,
                       std::span<const uint16_t> payloads = {}) {
  for (size_t i = 0; i < codes.size(); ++i) {
    const HuffmanEntry entry = table.find(uint64_t{codes[i].word} << (64 - codes[i].length));
    const int payload = payloads.empty() ? static_cast<int>(i) : payloads[i];
    if (entry.length() != codes[i].length || entry.payload() != payload) return false;
  }
  return true;
}

// A book whose words decode to their index in the list.
template <const auto& kCodes, int kFirstBits>
struct HuffmanBook {
  static_assert(is_complete(kCodes));
  static constexpr auto kEntries =
      build_huffman_table<kFirstBits, huffman_table_size<kFirstBits>(kCodes)>(kCodes);
  static constexpr HuffmanTable kTable{kEntries.data(), kFirstBits};
  static_assert(decodes(kTable, kCodes));
};

}  // namespace zdr::aacdec
