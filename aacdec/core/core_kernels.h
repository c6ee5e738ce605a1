// The inner loops of the core, compiled once per instruction set. Every variant produces the same bits.
//
// Counts and lengths are multiples of 8 unless a kernel says otherwise. Memory needs only the alignment of
// its type.
#pragma once

#include <cstdint>

namespace zdr::aacdec {

inline constexpr int kTransformWork = 2048;

// y[n] = in[n] 2^shift - 2^exponent sum of mul_q31(a[i], y[n - 1 - i]); the output is y / 2^shift, rounded
// half up.
struct AllPoleFilter {
  static constexpr int kTaps = 18;
  static constexpr int kNearTaps = 2;   // the taps that all_pole() applies with scalar products
  static constexpr int kPairTaps = 12;  // the most that all_pole_pair() takes
  int32_t a[kTaps];                     // Q31; unused taps are 0
  int taps;                             // in use
  int exponent;
  int shift;
  int32_t limit;  // while |y[n]| stays below it, no sum overflows 32 bits
};

// Lines in the order of a filter: in[0], in[step], in[2 step] and so on. `in` and `out` don't overlap.
struct LineSequence {
  const int32_t* in;
  int32_t* out;
  int count;
  int step;  // 1 or -1

  // The distance of the lowest line from the first one.
  [[gnu::always_inline]] int lowest() const { return step > 0 ? 0 : 1 - count; }
};

struct AllPoleRun {
  AllPoleFilter filter;
  LineSequence lines;
};

// Noise times root / 2^(15 + shift), then times a factor in Q31 unless that is 0. Both products are truncated
// towards zero. The root and the factor are not negative, `shift` is 1 to 31.
struct NoiseScale {
  int32_t root;
  int shift;
  int32_t prepared_factor;  // tables/prepared_factor.h
};

// The rising halves of the windows of a long block, in SampleOrder. Each value is a number in Q15 up to
// 32768, which is 1, in both words of the lane, as products of words need it.
struct LongWindows {
  const int32_t* rise;
  const int32_t* fall;  // its mirror image is the falling half
};

struct CoreKernels {
  // DCT-IV without a scale factor: out[n] = sum of in[k] cos(pi / 1024 (n + 1/2) (k + 1/2)). `work` holds
  // kTransformWork values; `out` may be `in`. Sums wrap.
  void (*dct4_long)(const int32_t* in, int32_t* out, int32_t* work);
  // The same for eight windows of 128 lines, times 8, because their sums have an eighth of the terms.
  void (*dct4_short)(const int32_t* in, int32_t* out, int32_t* work);
  // The two halves of a windowed inverse transform whose DCT-IV is `y`, `length` lines: shifted right by 8
  // and multiplied by the rising half `window` or its mirror image. Windows are Q15 up to 32768, which is 1.
  void (*window_rise)(const int32_t* y, int length, const uint16_t* window, int32_t* out);
  void (*window_fall)(const int32_t* y, int length, const uint16_t* window, int32_t* out);
  // left, right = left + right, left - right, saturating. `count` is a multiple of 4.
  void (*mid_side)(int32_t* left, int32_t* right, int count);
  // Returns the OR of the absolute values. Any count is allowed.
  uint32_t (*combined_magnitudes)(const int32_t* in, int count);
  // out = in / 2^shift, times `factor` unless that is 0, negated on request; truncated towards zero. `factor`
  // is not negative, `shift` is -31 to 31, `count` a multiple of 4. A negative shift must not overflow.
  void (*scale)(const int32_t* in, int32_t* out, int count, int shift, int32_t factor, bool negate);
  // False if |y| exceeds the filter's limit; the output is then incomplete. Any count is allowed.
  bool (*all_pole)(const AllPoleRun& run);
  // Runs two filters, the second of which has at least as many lines, at once: each line of a filter waits
  // for the one before it, so that two take less time than one after the other. The lines times 2^shift are
  // below 2^31. False if values may exceed 30 bits or a limit; the outputs are then wrong.
  bool (*all_pole_pair)(const AllPoleRun& shorter, const AllPoleRun& longer);
  // Adds kFrameLength samples to the overlap, which is in SampleOrder, and keeps as many that follow as the
  // new overlap. pcm[i * stride] is the sum, rounded from 2^5 per step and clamped to -32767 .. 32767.
  void (*put_samples)(const int32_t* time, int32_t* overlap, int16_t* pcm, int stride);
  // The same with the windowed inverse transform of the lines of a long block. `work` holds kTransformWork
  // values.
  void (*put_long_block)(const int32_t* in, LongWindows windows, int32_t* overlap, int16_t* pcm, int stride,
                         int32_t* work);
  // Draws noise of 16 bits, one step of `state` per line. Returns the sum of the squares. `count` is a
  // multiple of 4.
  uint64_t (*draw_noise)(uint32_t& state, int32_t* lines, int count);
  // Scales lines of 16 bits; `count` is a multiple of 4.
  void (*scale_noise)(const NoiseScale& by, int32_t* lines, int count);
};

// One table per instruction set, defined in core_kernels_VARIANT.cpp.
extern const CoreKernels kBaseCoreKernels;
extern const CoreKernels kSse41CoreKernels;  // exists on x86 only
extern const CoreKernels kAvx2CoreKernels;   // exists on x86 only

// The table for this processor.
const CoreKernels& core_kernels();

}  // namespace zdr::aacdec
