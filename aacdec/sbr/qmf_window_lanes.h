// The window of the QMF synthesis (ISO/IEC 14496-3, 4.6.18.4.2): sums ten products for each output sample and
// rounds them to 16 bits. For kernel files only.
//
// Sums in single precision take less time than exact ones and decide almost every sample. Where one
// is closer to a half step than its error, eight samples are summed exactly in 64 bits. So the results do not
// depend on how estimates are rounded.
#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <iterator>

#include "aacdec/fixed/float_lanes.h"
#include "aacdec/fixed/half_lanes.h"
#include "aacdec/fixed/wide_lanes.h"
#include "aacdec/sbr/qmf_data.h"
#include "aacdec/tables/qmf_prototype.h"

namespace zdr::aacdec {
namespace {

// Columns of the scratch rows: the slots of the frame begin here, preceded by those of the previous frames.
inline constexpr int kFrameColumn = 16;
inline constexpr int kSynthesisHistory = 10;

// A value that is summed for sample n: that of row n, 2 * pair slots ago, or of row n + bands, one slot
// before that.
struct WindowTap {
  bool before;
  int pair;
};

// In the order of summation: the small ones first, so that partial sums, and with them rounding errors, are
// small.
inline constexpr WindowTap kWindowTaps[] = {{false, 0}, {true, 4}, {true, 0},  {false, 4}, {false, 1},
                                            {true, 3},  {true, 1}, {false, 3}, {false, 2}, {true, 2}};
inline constexpr int kTapCount = std::size(kWindowTaps);
inline constexpr int kOldestPair = 4;

// The factor of a tap, Q31.
template <int kBands>
constexpr int32_t window_factor(int n, const WindowTap& tap) {
  return kQmfPrototype.q31[kQmfBands / kBands * ((2 * tap.pair + (tap.before ? 1 : 0)) * kBands + n)];
}

// For values at 2^12 per output step.
template <int kBands>
struct EstimateFactors {
  float of_sample[kBands][kTapCount];
};

template <int kBands>
inline constexpr EstimateFactors<kBands> kEstimateFactors = [] {
  EstimateFactors<kBands> table{};
  for (int n = 0; n < kBands; ++n) {
    for (int k = 0; k < kTapCount; ++k) {
      table.of_sample[n][k] = static_cast<float>(window_factor<kBands>(n, kWindowTaps[k]) * 0x1p-43);
    }
  }
  return table;
}();

// The largest sum of a sample, and the largest error of its estimate if everything is rounded to nearest; in
// output steps, for values up to 1.
struct WindowBounds {
  double sum = 0;
  double error = 0;
};

template <int kBands>
constexpr WindowBounds window_bounds() {
  constexpr double kRounding = 0x1p-24 * 1.001;
  // The value, and the product unless it is added in the same instruction.
  constexpr int kRoundings = kRoundsProducts ? 2 : 1;
  WindowBounds worst;
  for (int n = 0; n < kBands; ++n) {
    WindowBounds of_sample;
    for (int k = 0; k < kTapCount; ++k) {
      const double factor = window_factor<kBands>(n, kWindowTaps[k]) * 0x1p-43;
      const double size = factor < 0 ? -factor : factor;
      const double off = factor - kEstimateFactors<kBands>.of_sample[n][k];
      of_sample.sum += size;
      // The factor is not exact either.
      of_sample.error += (kRoundings * size + of_sample.sum) * kRounding + (off < 0 ? -off : off) * 1.001;
    }
    worst = {std::max(worst.sum, of_sample.sum), std::max(worst.error, of_sample.error)};
  }
  return worst;
}
// Neither the exact sum overflows nor an estimate exceeds 2^20.
static_assert(window_bounds<kQmfBands>().sum < 0x1p-11 && window_bounds<kCoreBands>().sum < 0x1p-11);

// Whether additions round to nearest, as they do unless a program has changed that.
inline bool rounds_to_nearest() {
  volatile float little = 0x1p-30F;
  return 1 + little == 1 && 1 - little == 1;
}

// Computes kLanes samples of all slots.
template <int kBands>
class WindowedSamples {
 public:
  // The samples from `first` on. Unless additions round to `nearest`, each one is summed exactly.
  WindowedSamples(const QmfScratch& scratch, int first, bool nearest) : scratch_(scratch), first_(first) {
    FloatLanes largest_value{};
    for (int i = 0; i < kLanes; ++i) {
      convert(scratch.rows[first + i] + kFrameColumn - kOldest, now_[i], largest_value);
      convert(scratch.rows[kBands + first + i] + kFrameColumn - 1 - kOldest, before_[i], largest_value);
    }
    if (!nearest) return;
    // The last term covers the sum with kHalf, and the rounding of this one.
    constexpr auto kError = static_cast<float>(window_bounds<kBands>().error);
    limit_ = 0.5F - kError * largest(largest_value) - 0x1p-20F;
  }

  // Sample first + i of all slots, not yet clamped, to to[0], to[kLanes] and so on.
  [[gnu::always_inline]] void sum(int i, Lanes* to) const {
    FloatLanes sums[kBlocks];
    for (FloatLanes& sum : sums) sum = each([](Register) { return in_all_lanes(kHalf); }, Lanes{});
    const float* const factors = kEstimateFactors<kBands>.of_sample[first_ + i];
#pragma GCC unroll kTapCount
    for (int k = 0; k < kTapCount; ++k) {
      const WindowTap& tap = kWindowTaps[k];
      const float* const values = (tap.before ? before_[i] : now_[i]) + kOldest - 2 * tap.pair;
      const FloatRegister factor = in_all_lanes(factors[k]);
#pragma GCC unroll kBlocks
      for (int b = 0; b < kBlocks; ++b) {
        sums[b] = each([=](FloatRegister v, FloatRegister sum) { return multiply_add(v, factor, sum); },
                       load(values + b * kLanes), sums[b]);
      }
    }
    Lanes is_close[kBlocks];
    for (int b = 0; b < kBlocks; ++b) to[b * kLanes] = rounded(sums[b], limit_, is_close[b]);
    if (!any(is_close[0] | is_close[1] | is_close[2] | is_close[3])) [[likely]]
      return;
    for (int b = 0; b < kBlocks; ++b) {
      if (any(is_close[b])) to[b * kLanes] = exact_sum(first_ + i, b * kLanes);
    }
  }

 private:
  static constexpr int kBlocks = kQmfSlots / kLanes;
  static_assert(kBlocks == 4);
  static constexpr int kOldest = 2 * kOldestPair;  // slots
  static constexpr int kColumns = kOldest + kQmfSlots;
  // The exact sum is first rounded half up at 2^11 per step.
  static constexpr float kHalf = 0x1p-12F;

  static void convert(const int32_t* from, float* to, FloatLanes& largest_value) {
    for (int column = 0; column < kColumns; column += kLanes) {
      const FloatLanes values = floating(load(from + column));
      store(to + column, values);
      largest_value = larger(largest_value, each([](FloatRegister x) { return absolute(x); }, values));
    }
  }

  // Sums to integers. Sets `is_close` where one is too close to half a step.
  [[gnu::always_inline]] static Lanes rounded(const FloatLanes& sum, float limit, Lanes& is_close) {
    // Sums are below 2^20. Added to this, they have no bits after the point.
    constexpr float kBase = 0x1.8p23F;
    constexpr auto kBaseBits = std::bit_cast<uint32_t>(kBase);
    const FloatLanes based = each([](FloatRegister x) { return x + kBase; }, sum);
    is_close = each(
        [limit](FloatRegister x, FloatRegister y) {
          return reinterpret_cast<Register>(absolute(x - (y - kBase)) > limit);
        },
        sum, based);
    return each([](FloatRegister x) { return reinterpret_cast<Register>(x) - kBaseBits; }, based);
  }

  [[gnu::noinline]] Lanes exact_sum(int n, int slot) const {
    const int32_t* const now = scratch_.rows[n] + kFrameColumn + slot;
    const int32_t* const before = scratch_.rows[kBands + n] + kFrameColumn - 1 + slot;
    WideLanes sum{};
#pragma GCC unroll kTapCount
    for (const WindowTap& tap : kWindowTaps) {
      const int32_t* const values = (tap.before ? before : now) - 2 * tap.pair;
      sum = in_order(sum + wide_product(load(values), factor(window_factor<kBands>(n, tap))));
    }
    // From Q31 of samples at 2^12 per step.
    return shift_right_rounded(narrowed(sum, 32), 11);
  }

  const QmfScratch& scratch_;
  int first_;
  float limit_ = -1;  // of the distance from an integer; -1: no estimate decides
  alignas(64) float now_[kLanes][kColumns];
  alignas(64) float before_[kLanes][kColumns];
};

// Stores samples `index` to `index` + 7: alone if `left` is null, else as the right channel, interleaved with
// those of `left`.
[[gnu::always_inline]] inline void put_eight_samples(EightWords samples, int index, const int16_t* left,
                                                     int16_t* pcm) {
  if (left == nullptr) {
    store_eight_words(pcm + index, samples);
    return;
  }
  const EightWords left_samples = load_eight_words(left + index);
  store_eight_words(pcm + 2 * index, interleaved<0>(left_samples, samples));
  store_eight_words(pcm + 2 * index + 8, interleaved<1>(left_samples, samples));
}

// Windows all slots and writes their samples as SbrKernels::synthesise() does, rounded and clamped.
template <int kBands>
inline void write_slots(const QmfScratch& scratch, const int16_t* left, int16_t* pcm) {
  constexpr int kBlocks = kQmfSlots / kLanes;
  const bool nearest = rounds_to_nearest();
  for (int n = 0; n < kBands; n += kLanes) {
    const WindowedSamples<kBands> samples(scratch, n, nearest);
    Lanes block[kBlocks][kLanes];
    for (int i = 0; i < kLanes; ++i) samples.sum(i, &block[0][i]);
    for (int b = 0; b < kBlocks; ++b) {
      EightWords slots[kLanes];
      transpose_saturated(block[b], slots);
      for (int t = 0; t < kLanes; ++t) put_eight_samples(slots[t], (b * kLanes + t) * kBands + n, left, pcm);
    }
  }
}

}  // namespace
}  // namespace zdr::aacdec
