// The all-pole filters of TNS, two at a time. Each line of a filter waits for the one before it, so that two
// take hardly longer than one. For kernel files only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "aacdec/core/core_kernels.h"
#include "aacdec/fixed/bounded_products.h"
#include "aacdec/fixed/fixed_lanes.h"
#include "aacdec/fixed/half_lanes.h"

namespace zdr::aacdec {
namespace {

// Applies an operation to any number of lines.
template <class Operation>
[[gnu::always_inline]] inline void for_each_line(const int32_t* in, int32_t* out, int count,
                                                 Operation operation) {
  int i = 0;
  for (; i + kLanes <= count; i += kLanes) store(out + i, operation(load(in + i)));
  if (i == count) return;
  int32_t rest[kLanes] = {};
  const size_t bytes = static_cast<size_t>(count - i) * sizeof *rest;
  std::memcpy(rest, in + i, bytes);
  store(rest, operation(load(rest)));
  std::memcpy(out + i, rest, bytes);
}

// The factors 2^exponent of two filters, below 2^15.
struct ExponentLanes {
  HalfShifts shifts;
  Lanes powers;  // in both words of a lane

  [[gnu::always_inline]] ExponentLanes(int first, int second)
      : shifts(first, second), powers(broadcast_halves(0x00010001 << first, 0x00010001 << second)) {}

  // The bounded product times the factor. Shifts by different counts are slow, so only the upper product
  // takes one; it is ready before the mixed ones.
  [[gnu::always_inline]] Lanes scaled_product(Lanes bits, Lanes prepared) const {
#ifdef __SSE2__
    const auto upper = [](Register x, Register y) { return bounded_product_parts(x, y).upper; };
    const auto mixed = [](Register x, Register y, Register power) {
      return pair_product(bounded_product_parts(x, y).mixed, power);
    };
    return shifts.applied(each(upper, bits, prepared)) + each(mixed, bits, prepared, powers);
#else
    const auto product = [](Register x, Register y) { return bounded_product_q31(x, y); };
    return shifts.applied(each(product, bits, prepared));
#endif
  }
};

// Four taps of each of two filters.
struct TapLanes {
  Lanes prepared, signs;

  TapLanes() = default;
  [[gnu::always_inline]] explicit TapLanes(Lanes taps) : prepared(prepared_lanes(taps)), signs(taps) {}

  // mul_q31 for lines below 2^30, whose absolute values are `bits`, times 2^exponent.
  [[gnu::always_inline]] Lanes products(Lanes lines, Lanes bits, const ExponentLanes& exponents) const {
    return with_signs(exponents.scaled_product(bits, prepared), (lines ^ signs) | broadcast(1));
  }
};

// The state of two filters after a line of each: the first one in the lower four lanes, the second in the
// upper ones. kGroups: 1, 2 or 3 for up to 4, 8 or 12 taps.
//
// Computed in 32 bits, which wrap, without checks. finish() tells whether all lines were small enough: the
// first one that was not is at least 2^30 even after it wraps.
template <int kGroups>
class AllPolePair {
 public:
  [[gnu::always_inline]] AllPolePair(const AllPoleRun& first, const AllPoleRun& second)
      : runs_{&first, &second}, exponents_(first.filter.exponent, second.filter.exponent) {
    for (int i = 0; i < 2; ++i) scale(*runs_[i]);
  }

  // Filters lines from .. to - 1 of both.
  [[gnu::always_inline]] void filter_both(int from, int to) {
    filter(from, to, {runs_[0]->lines.out, runs_[0]->lines.step}, runs_[0]->filter.a);
  }

  // The same for the second only.
  [[gnu::always_inline]] void filter_second(int from, int to) {
    constexpr int32_t kNoTaps[AllPoleFilter::kTaps] = {};
    int32_t unused_line = 0;
    for (Lanes& sums : sums_) sums = joined(HalfLanes{}, upper_half(sums));
    filter(from, to, {&unused_line, 0}, kNoTaps);
  }

  // Rounds the output. False if a line exceeded what the computation can take.
  [[gnu::always_inline]] bool finish() const {
    const uint32_t largest = any_bits(seen_);
    bool valid = largest < 1U << 30;
    for (const AllPoleRun* run : runs_) {
      const AllPoleFilter& filter = run->filter;
      const LineSequence& lines = run->lines;
      valid = valid && largest <= static_cast<uint32_t>(filter.limit) >> filter.exponent;
      const Lanes half = broadcast(filter.shift == 0 ? 0 : 1 << (filter.shift - 1));
      int32_t* const out = lines.out + lines.lowest();
      for_each_line(out, out, lines.count, [&](Lanes v) { return shift_right(v + half, filter.shift); });
    }
    return valid;
  }

 private:
  struct Output {
    int32_t* line;
    int step;
  };

  // The filter works in place, on scaled lines.
  [[gnu::always_inline]] void scale(const AllPoleRun& run) {
    const int start = run.lines.lowest();
    for_each_line(run.lines.in + start, run.lines.out + start, run.lines.count, [&](Lanes v) {
      const Lanes scaled = v << run.filter.shift;
      seen_ |= each([](Register x) { return absolute(x); }, scaled);
      return scaled;
    });
  }

  [[gnu::always_inline]] void filter(int from, int to, Output first, const int32_t* first_taps) {
    const LineSequence& lines = runs_[1]->lines;
    const Output second = {lines.out, lines.step};
    TapLanes taps[kGroups];
    for (int i = 0; i < kGroups; ++i)
      taps[i] = TapLanes(load_halves(first_taps + 4 * i, runs_[1]->filter.a + 4 * i));
    for (int n = from; n < to; ++n) {
      int32_t& one = first.line[n * first.step];
      int32_t& other = second.line[n * second.step];
      const Lanes next = shuffle<0, 0, 0, 0, 4, 4, 4, 4>(sums_[0], sums_[0]);
      const Lanes newest = broadcast_halves(one, other) - next;
      one = static_cast<int32_t>(lane(newest, 0));
      other = static_cast<int32_t>(lane(newest, 4));
      const Lanes bits = each([](Register x) { return absolute(x); }, newest);
      seen_ |= bits;
      for (int i = 0; i < kGroups; ++i) {
        const Lanes above = i + 1 < kGroups ? sums_[i + 1] : Lanes{};
        sums_[i] =
            shuffle<1, 2, 3, 8, 5, 6, 7, 12>(sums_[i], above) + taps[i].products(newest, bits, exponents_);
      }
    }
  }

  const AllPoleRun* runs_[2];
  ExponentLanes exponents_;
  Lanes sums_[kGroups] = {};  // of products, for the next lines in turn
  Lanes seen_ = {};           // all absolute values
};

template <int kGroups>
bool run_pair(const AllPoleRun& shorter, const AllPoleRun& longer) {
  AllPolePair<kGroups> pair(shorter, longer);
  pair.filter_both(0, shorter.lines.count);
  pair.filter_second(shorter.lines.count, longer.lines.count);
  return pair.finish();
}

bool all_pole_pair(const AllPoleRun& shorter, const AllPoleRun& longer) {
  const int taps = shorter.filter.taps > longer.filter.taps ? shorter.filter.taps : longer.filter.taps;
  if (taps <= 4) return run_pair<1>(shorter, longer);
  if (taps <= 8) return run_pair<2>(shorter, longer);
  return run_pair<3>(shorter, longer);
}

}  // namespace
}  // namespace zdr::aacdec
