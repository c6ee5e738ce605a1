// The output of long blocks (ISO/IEC 14496-3, 4.6.11.3), eight lanes at a time: the last pass of the
// transform joined to windows, overlap and rounding. For kernel files only.
#pragma once

#include <cstdint>

#include "aacdec/core/core_kernels.h"
#include "aacdec/core/sample_order.h"
#include "aacdec/core/transform_lanes.h"
#include "aacdec/fixed/bounded_products.h"
#include "aacdec/fixed/half_lanes.h"

namespace zdr::aacdec {
namespace {

// mul_q31 for an absolute value up to 2^23 and a window of LongWindows, times 2^16.
[[gnu::always_inline]] inline Register long_window_product(Register a, Register window) {
#ifdef __SSE2__
  const Register doubled = a + a;
  // The product of an upper word is complete but for its lower 16 bits, which are added.
  return upper_word_products(doubled, window) + (lower_word_products(doubled, window) >> 16);
#else
  return (a >> 15) * (window & 0xFFFF) + ((a & 0x7FFF) * (window & 0xFFFF) >> 15);
#endif
}

// v / 2^8, rounded down, for products with windows.
struct Unwindowed {
  Lanes shifted;

  [[gnu::always_inline]] explicit Unwindowed(Lanes v) : shifted(shift_right(v, 8)) {}
  [[gnu::always_inline]] Lanes operator*(Lanes window) const {
    const auto product = [](Register x, Register y) { return long_window_product(absolute(x), y); };
    return with_signs(each(product, shifted, window), shifted);
  }
};

// Writes a block of 16 samples, at 2^5 per step: `even` has those with even numbers, `odd` the others, last
// one first.
//
// Kept: the smallest sample is -32767.
[[gnu::always_inline]] inline void put_block(Lanes even, Lanes odd, int16_t* pcm, int stride, bool last) {
  EightWords words[2];
  interleave_saturated(shift_right(even + 16, 5), shift_right(odd + 16, 5), words);
  constexpr EightWords kLeast = EightWords{} - 32767;
  put_words(pcm, larger(words[0], kLeast), stride, false);
  put_words(pcm + 8 * stride, larger(words[1], kLeast), stride, last);
}

// A pair of blocks in SampleOrder: even and odd samples of the early block, then of the late one.
struct BlockPair {
  Lanes early_even, early_odd, late_even, late_odd;
};

[[gnu::always_inline]] inline BlockPair load_pair(const int32_t* values, int pair) {
  const int32_t* const from = values + 2 * SampleOrder::kBlock * pair;
  return {load(from), load(from + kLanes), load(from + 2 * kLanes), load(from + 3 * kLanes)};
}

// The same from samples in their natural order.
[[gnu::always_inline]] inline BlockPair gather_pair(const int32_t* samples, int pair) {
  const int32_t* const early = samples + SampleOrder::early_block(pair);
  const int32_t* const late = samples + SampleOrder::late_block(pair);
  return {load_even(early), load_odd_reversed(early), load_even(late), load_odd_reversed(late)};
}

[[gnu::always_inline]] inline void store_pair(int32_t* values, int pair, const BlockPair& v) {
  int32_t* const to = values + 2 * SampleOrder::kBlock * pair;
  store(to, v.early_even);
  store(to + kLanes, v.early_odd);
  store(to + 2 * kLanes, v.late_even);
  store(to + 3 * kLanes, v.late_odd);
}

[[gnu::always_inline]] inline BlockPair operator+(const BlockPair& a, const BlockPair& b) {
  return {a.early_even + b.early_even, a.early_odd + b.early_odd, a.late_even + b.late_even,
          a.late_odd + b.late_odd};
}

[[gnu::always_inline]] inline void put_pair(const BlockPair& v, int pair, int16_t* pcm, int stride) {
  put_block(v.early_even, v.early_odd, pcm + SampleOrder::early_block(pair) * stride, stride, false);
  put_block(v.late_even, v.late_odd, pcm + SampleOrder::late_block(pair) * stride, stride,
            pair == SampleOrder::kPairs - 1);
}

void put_samples(const int32_t* time, int32_t* overlap, int16_t* pcm, int stride) {
  for (int pair = 0; pair < SampleOrder::kPairs; ++pair) {
    put_pair(load_pair(overlap, pair) + gather_pair(time, pair), pair, pcm, stride);
    store_pair(overlap, pair, gather_pair(time + kFrameLength, pair));
  }
}

// The first half of the inverse transform: the second half of the DCT-IV, then its negated mirror image.
// `even` and `odd` are values of that half.
[[gnu::always_inline]] inline BlockPair rising(Lanes even, Lanes odd, const BlockPair& window) {
  return {Unwindowed(even) * window.early_even, Unwindowed(odd) * window.early_odd,
          Unwindowed(-odd) * window.late_even, Unwindowed(-even) * window.late_odd};
}

// The second half: the negated mirror image of the first half of the DCT-IV, then that half negated. The
// arguments are negated values of the first half. The window is mirrored.
[[gnu::always_inline]] inline BlockPair falling(Lanes even, Lanes odd, const BlockPair& window) {
  const Unwindowed even_part(even);
  const Unwindowed odd_part(odd);
  return {odd_part * window.late_odd, even_part * window.late_even, even_part * window.early_odd,
          odd_part * window.early_even};
}

// A pair of rows yields a pair of blocks.
template <class Products>
[[gnu::always_inline]] inline void put_rows(const int32_t* rows, LongWindows windows, int32_t* overlap,
                                            int16_t* pcm, int stride) {
  rotate_long<Products>(rows, [=](int pair, ComplexLanes a, ComplexLanes b) {
    put_pair(load_pair(overlap, pair) + rising(b.re, -a.im, load_pair(windows.rise, pair)), pair, pcm,
             stride);
    store_pair(overlap, pair, falling(-a.re, b.im, load_pair(windows.fall, pair)));
  });
}

[[gnu::cold, gnu::noinline]] void put_large_rows(const int32_t* rows, LongWindows windows, int32_t* overlap,
                                                 int16_t* pcm, int stride) {
  put_rows<GeneralProducts>(rows, windows, overlap, pcm, stride);
}

void put_long_block(const int32_t* in, LongWindows windows, int32_t* overlap, int16_t* pcm, int stride,
                    int32_t* work) {
  int32_t* const rows = work;
  int32_t* const other_rows = work + kTransformWork / 2;
  if (transform_long<BoundedProducts>(in, rows, other_rows)) {
    put_rows<BoundedProducts>(rows, windows, overlap, pcm, stride);
    return;
  }
  transform_large_long(in, rows, other_rows);
  put_large_rows(rows, windows, overlap, pcm, stride);
}

}  // namespace
}  // namespace zdr::aacdec
