// The inner loops of the core's signal processing, in forms for several instruction sets that give the same
// bits. Lengths are multiples of 8 unless said otherwise; all memory is aligned for its type alone.
#pragma once

#include <cstdint>

namespace zdr::aacdec {

inline constexpr int kTransformWork = 2048;

// out[n] = in[n] 2^shift - 2^exponent sum of mul_q31(a[i], out[n - 1 - i])
struct AllPoleFilter {
  static constexpr int kTaps = 18;  // unused ones are 0
  int32_t a[kTaps];
  int exponent;
  int shift;
  // Of |out[n]|: below it no sum leaves the word.
  int32_t limit;
};

struct CoreKernels {
  // out[i] = mul_q31(a[i], b[i])
  void (*multiply)(const int32_t* a, const int32_t* b, int32_t* out, int count);
  // DCT-IV without a factor, sum of in[k] cos(pi / 1024 (n + 1/2) (k + 1/2)). `work` holds kTransformWork
  // values; `out` may be `in`. Sums wrap.
  void (*dct4_long)(const int32_t* in, int32_t* out, int32_t* work);
  // The same for eight windows of 128 lines, times 8: their sums have an eighth of the terms.
  void (*dct4_short)(const int32_t* in, int32_t* out, int32_t* work);
  // The two halves of a windowed inverse transform whose DCT-IV is `y` of `length` lines: cut by 2^8 and
  // weighted by the rising half `window`, or its mirror image. The windows are Q15 up to 32768, which is 1.
  void (*window_rise)(const int32_t* y, int length, const uint16_t* window, int32_t* out);
  void (*window_fall)(const int32_t* y, int length, const uint16_t* window, int32_t* out);
  // left, right = left + right, left - right, saturating. `count` is a multiple of 4.
  void (*mid_side)(int32_t* left, int32_t* right, int count);
  // out = in / 2^shift, times `factor` unless that is 0, negated if asked for; cut towards zero. `factor` is
  // not negative, `shift` 0 to 31, `count` a multiple of 4.
  void (*attenuate)(const int32_t* in, int32_t* out, int count, int shift, int32_t factor, bool negate);
  // False when an output exceeds the filter's limit; `out` is incomplete then. Any count.
  bool (*all_pole)(const AllPoleFilter& filter, const int32_t* in, int count, int32_t* out);
  // pcm[i * stride] = overlap[i] + time[i] rounded from 2^5 a step, cut to -32767 .. 32767
  void (*put_samples)(const int32_t* overlap, const int32_t* time, int count, int16_t* pcm, int stride);
};

extern const CoreKernels kBaseKernels;
// Only where use_wide_vectors() can be true.
extern const CoreKernels kWideKernels;

const CoreKernels& core_kernels();

}  // namespace zdr::aacdec
