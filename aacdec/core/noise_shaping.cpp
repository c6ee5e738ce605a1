// Builds and runs the TNS filters. The all-pole filter starts with as much headroom as the lines allow; if an
// output exceeds its limit, it is run again with less, and finally with saturation.
#include "aacdec/core/noise_shaping.h"

#include <algorithm>
#include <bit>

#include "aacdec/core/core_kernels.h"
#include "aacdec/fixed/fixed_point.h"
#include "aacdec/syntax/scale_factor_bands.h"
#include "aacdec/tables/tools_tables.h"

namespace zdr::aacdec {
namespace {

constexpr int kStateLines = 16;  // zeros before the first line; at least kMaxTnsOrder
static_assert(kStateLines >= kMaxTnsOrder);
static_assert(kShapingScratch >= 2 * (kFrameLength + kStateLines));

// Each product of the filter loses up to two units by truncation. Scaling the lines up moves that error below
// their units; more spare bits than this bring no improvement.
constexpr int kMaxHeadroom = 6;

// Predictor a[1..order], Q31 times 2^exponent; the coefficients reach 2^order.
struct Predictor {
  int order;
  int exponent;
  int32_t a[kMaxTnsOrder + 1];
};

int32_t reflection(const TnsWindow& window, int field) {
  return window.resolution == 4 ? kReflection4.value[field + 8] : kReflection3.value[field + 4];
}

// Increments the exponent if a sum with a reflected coefficient could overflow.
void make_headroom(Predictor& p, int order) {
  const bool full = std::any_of(p.a + 1, p.a + order, [](int32_t v) { return magnitude(v) >= 1U << 30; });
  if (!full) return;
  for (int i = 1; i < order; ++i) p.a[i] >>= 1;
  ++p.exponent;
}

Predictor make_predictor(const TnsWindow& window, const TnsFilter& filter) {
  Predictor p = {};
  p.order = filter.order;
  for (int m = 1; m <= filter.order; ++m) {
    const int32_t k = reflection(window, filter.coefficient[m - 1]);
    make_headroom(p, m);
    for (int i = 1, j = m - 1; i <= j; ++i, --j) {
      const int32_t low = p.a[i];
      const int32_t high = p.a[j];
      p.a[i] = low + mul_q31(k, high);
      p.a[j] = high + mul_q31(k, low);
    }
    p.a[m] = k >> p.exponent;
  }
  return p;
}

int64_t predict(const Predictor& p, const int32_t* newest) {
  int64_t sum = 0;
  for (int i = 1; i <= p.order; ++i) sum += mul_q31(p.a[i], newest[1 - i]);
  return sum * (int64_t{1} << p.exponent);
}

int headroom(const int32_t* lines, int count) {
  uint32_t bits = 0;
  for (int i = 0; i < count; ++i) bits |= magnitude(lines[i]);
  return std::clamp(std::countl_zero(bits) - 1, 0, kMaxHeadroom);
}

AllPoleFilter make_filter(const Predictor& p) {
  AllPoleFilter filter = {};
  std::copy_n(p.a + 1, p.order, filter.a);
  filter.exponent = p.exponent;
  uint64_t sum = 0;
  for (int i = 1; i <= p.order; ++i) sum += magnitude(p.a[i]);
  filter.limit = saturate(static_cast<int64_t>((uint64_t{1} << 62) / std::max<uint64_t>(sum, 1U << 31)) - 1);
  return filter;
}

void filter_saturating(const Predictor& p, const int32_t* in, int count, int32_t* out) {
  for (int n = 0; n < count; ++n) out[n] = saturate(in[n] - predict(p, out + n - 1));
}

void run_synthesis(const Predictor& p, const int32_t* in, int count, int32_t* out) {
  AllPoleFilter filter = make_filter(p);
  filter.shift = headroom(in, count);
  while (!core_kernels().all_pole(filter, in, count, out)) {
    if (filter.shift == 0) {
      filter_saturating(p, in, count, out);
      return;
    }
    filter.shift = std::max(filter.shift - 2, 0);
  }
  if (filter.shift == 0) return;
  const int64_t half = int64_t{1} << (filter.shift - 1);
  for (int n = 0; n < count; ++n) out[n] = static_cast<int32_t>((out[n] + half) >> filter.shift);
}

void run_analysis(const Predictor& p, const int32_t* in, int count, int32_t* out) {
  for (int n = 0; n < count; ++n) out[n] = saturate(in[n] + predict(p, in + n - 1));
}

struct LineRange {
  int start;
  int end;
};

// Copies the lines in the order of the filter, after the zeros of its initial state, filters them, and copies
// them back.
void run_filter(const TnsWindow& window, const TnsFilter& filter, LineRange range, Shaping direction,
                int32_t* lines, int32_t* scratch) {
  const int count = range.end - range.start;
  int32_t* const in = scratch + kStateLines;
  int32_t* const out = in + kFrameLength + kStateLines;
  std::fill_n(in - kStateLines, kStateLines, 0);
  std::fill_n(out - kStateLines, kStateLines, 0);
  std::copy(lines + range.start, lines + range.end, in);
  if (filter.downwards) std::reverse(in, in + count);
  const Predictor predictor = make_predictor(window, filter);
  if (direction == Shaping::kSynthesis) {
    run_synthesis(predictor, in, count, out);
  } else {
    run_analysis(predictor, in, count, out);
  }
  if (filter.downwards) std::reverse(out, out + count);
  std::copy(out, out + count, lines + range.start);
}

}  // namespace

void shape_noise(const ChannelStream& channel, const StreamFormat& format, Shaping direction,
                 int32_t* spectrum, int32_t* scratch) {
  if (!channel.tns.present) return;
  const IcsInfo& ics = channel.ics;
  const ScaleFactorBands bands = scale_factor_bands(format.sampling_index, ics.is_short());
  const uint8_t* const max_bands = ics.is_short() ? kTnsMaxBandsShort : kTnsMaxBandsLong;
  const int limit = std::min<int>(max_bands[format.sampling_index], ics.max_sfb);
  for (int w = 0; w < ics.window_count(); ++w) {
    const TnsWindow& window = channel.tns.window[w];
    int bottom = bands.count;
    for (int f = 0; f < window.filter_count; ++f) {
      const TnsFilter& filter = window.filter[f];
      const int top = bottom;
      bottom = std::max(top - filter.length, 0);
      const LineRange range = {bands.offsets[std::min(bottom, limit)], bands.offsets[std::min(top, limit)]};
      if (filter.order == 0 || range.end <= range.start) continue;
      run_filter(window, filter, range, direction, spectrum + w * ics.window_length(), scratch);
    }
  }
}

}  // namespace zdr::aacdec
