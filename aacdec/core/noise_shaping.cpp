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

// Predicts `line`, the one after `known` others in the order of the filter.
int64_t predict(const Predictor& p, const int32_t* line, int step, int known) {
  int64_t sum = 0;
  for (int i = 1; i <= std::min(p.order, known); ++i) sum += mul_q31(p.a[i], line[-i * step]);
  return sum * (int64_t{1} << p.exponent);
}

int headroom(const int32_t* lines, int count) {
  const uint32_t bits = core_kernels().combined_magnitudes(lines, count);
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

void filter_saturating(const Predictor& p, const LineSequence& lines) {
  for (int n = 0; n < lines.count; ++n) {
    int32_t* const out = lines.out + n * lines.step;
    *out = saturate(lines.in[n * lines.step] - predict(p, out, lines.step, n));
  }
}

void run_synthesis(const Predictor& p, const LineSequence& lines, int headroom) {
  AllPoleFilter filter = make_filter(p);
  filter.shift = headroom;
  while (!core_kernels().all_pole(filter, lines)) {
    if (filter.shift == 0) {
      filter_saturating(p, lines);
      return;
    }
    filter.shift = std::max(filter.shift - 2, 0);
  }
}

void run_analysis(const Predictor& p, const LineSequence& lines) {
  for (int n = 0; n < lines.count; ++n) {
    const int32_t* const in = lines.in + n * lines.step;
    lines.out[n * lines.step] = saturate(*in + predict(p, in, lines.step, n));
  }
}

struct LineRange {
  int start;
  int end;
};

// Filters a copy of the lines.
void run_filter(const TnsWindow& window, const TnsFilter& filter, LineRange range, Shaping direction,
                int32_t* lines, int32_t* scratch) {
  const int count = range.end - range.start;
  std::copy_n(lines + range.start, count, scratch);
  const int first = filter.downwards ? count - 1 : 0;
  const LineSequence sequence = {scratch + first, lines + range.start + first, count,
                                 filter.downwards ? -1 : 1};
  const Predictor predictor = make_predictor(window, filter);
  if (direction == Shaping::kSynthesis) {
    run_synthesis(predictor, sequence, headroom(scratch, count));
  } else {
    run_analysis(predictor, sequence);
  }
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
