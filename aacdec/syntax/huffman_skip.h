// Skips runs of Huffman words without decoding them: one lookup passes over all words that lie completely
// within the next kSkipBits bits.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "aacdec/syntax/bit_reader.h"
#include "aacdec/syntax/huffman.h"

namespace zdr::aacdec {

inline constexpr int kSkipBits = 12;

// The number and total length of whole words; or, if the first word has escapes or is too long, a mark in
// place of the number.
class HuffmanSkip {
 public:
  static constexpr int kMostWords = kSkipBits;
  // The first word is followed by one escape, or by two.
  static constexpr int kOneEscape = kMostWords + 1;
  static constexpr int kTwoEscapes = kMostWords + 2;
  static constexpr int kLonger = kMostWords + 3;  // the first word is longer than kSkipBits

  constexpr HuffmanSkip() = default;
  constexpr HuffmanSkip(int words, int length) : bits_(static_cast<uint8_t>(words << 4 | length)) {}
  constexpr int words() const { return bits_ >> 4; }
  constexpr int length() const { return bits_ & 15; }

 private:
  uint8_t bits_ = 0;
};

using HuffmanSkipTable = std::array<HuffmanSkip, size_t{1} << kSkipBits>;

// Lookups per refill; the last may have to pass a single long word.
inline constexpr int kSkipLookups = 4;
static_assert((kSkipLookups - 1) * kSkipBits + HuffmanEntry::kMaxCodeLength <= BitCache::kRefilled);

struct NoEscapes {
  static constexpr int count(int /*payload*/) { return 0; }
  static void skip(BitCache& /*bits*/, int /*number*/) {}
};

// Escapes::count(payload) is the number of escapes after the word of a payload, 0 to 2.
template <class Escapes>
constexpr HuffmanSkip skip_of(const HuffmanTable& table, uint64_t window) {
  int words = 0;
  int length = 0;
  for (;; ++words) {
    const HuffmanEntry entry = table.find(window << length);
    // A longer word continues after these bits.
    const bool fits = length + entry.length() <= kSkipBits;
    if (fits && Escapes::count(entry.payload()) == 0) {
      length += entry.length();
      continue;
    }
    if (words > 0) return {words, length};
    if (!fits) return {HuffmanSkip::kLonger, 0};
    return {HuffmanSkip::kMostWords + Escapes::count(entry.payload()), entry.length()};
  }
}

template <class Escapes>
constexpr HuffmanSkipTable make_skip_table(const HuffmanTable& table) {
  HuffmanSkipTable skips;
  for (size_t i = 0; i < skips.size(); ++i)
    skips[i] = skip_of<Escapes>(table, uint64_t{i} << (64 - kSkipBits));
  return skips;
}

// Skips `count` words. `Escapes` has count(payload), as above, and skip(bits, number), which skips that many.
// Takes and returns the cache by value, so that it is in registers from one run to the next.
template <class Escapes>
[[gnu::always_inline]] inline BitCache skip_words(BitCache bits, const HuffmanTable& table,
                                                  const HuffmanSkipTable& skips, int count) {
  while (count > 0) {
    bits.refill();
    // Unrolled, so that each branch is predicted by its own history.
#pragma GCC unroll 4
    for (int i = 0; i < kSkipLookups; ++i) {
      if (count <= 0) break;
      const HuffmanSkip skip = skips[static_cast<size_t>(bits.window() >> (64 - kSkipBits))];
      if (skip.words() <= std::min(count, HuffmanSkip::kMostWords)) [[likely]] {
        bits.consume(skip.length());
        count -= skip.words();
        continue;
      }
      if (skip.words() <= HuffmanSkip::kMostWords) {  // more than are left
        for (; count > 0; --count) table.take(bits);
        break;
      }
      --count;
      if (skip.words() != HuffmanSkip::kLonger) {
        bits.consume(skip.length());
        Escapes::skip(bits, skip.words() - HuffmanSkip::kMostWords);
      } else {
        Escapes::skip(bits, Escapes::count(table.take(bits)));
      }
      break;
    }
  }
  return bits;
}

}  // namespace zdr::aacdec
