// Builds and runs the TNS filters. An all-pole filter starts with as much headroom as the lines allow; if an
// output exceeds its limit, it is run again with less, and finally with saturation. The filters of a frame
// run in pairs, since the lines of one can be computed only one after the other.
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
  static_assert(kMaxTnsOrder <= AllPoleFilter::kPairTaps && kMaxTnsOrder <= AllPoleFilter::kTaps);
  std::copy_n(p.a + 1, p.order, filter.a);
  filter.taps = p.order;
  filter.exponent = p.exponent;
  uint64_t sum = 0;
  for (int i = 1; i <= p.order; ++i) sum += magnitude(p.a[i]);
  filter.limit = saturate(static_cast<int64_t>((uint64_t{1} << 62) / std::max<uint64_t>(sum, 1U << 31)) - 1);
  return filter;
}

// One filter of a window with its lines, whose input is a copy.
struct ShapingRun {
  Predictor predictor;
  AllPoleRun all_pole;
};

void filter_saturating(const Predictor& p, const LineSequence& lines) {
  for (int n = 0; n < lines.count; ++n) {
    int32_t* const out = lines.out + n * lines.step;
    *out = saturate(lines.in[n * lines.step] - predict(p, out, lines.step, n));
  }
}

void run_synthesis(ShapingRun& run) {
  int& shift = run.all_pole.filter.shift;
  while (!core_kernels().all_pole(run.all_pole)) {
    if (shift == 0) {
      filter_saturating(run.predictor, run.all_pole.lines);
      return;
    }
    shift = std::max(shift - 2, 0);
  }
}

void run_analysis(const Predictor& p, const LineSequence& lines) {
  for (int n = 0; n < lines.count; ++n) {
    const int32_t* const in = lines.in + n * lines.step;
    lines.out[n * lines.step] = saturate(*in + predict(p, in, lines.step, n));
  }
}

// Calls visit(predictor, lines) for each filter of the channel that changes lines. Each has lines of its own.
template <class Visit>
void for_each_filter(const ChannelStream& channel, const StreamFormat& format, int32_t* spectrum,
                     int32_t* scratch, Visit visit) {
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
      const int start = w * ics.window_length() + bands.offsets[std::min(bottom, limit)];
      const int count = w * ics.window_length() + bands.offsets[std::min(top, limit)] - start;
      if (filter.order == 0 || count <= 0) continue;
      std::copy_n(spectrum + start, count, scratch + start);
      const int first = start + (filter.downwards ? count - 1 : 0);
      visit(make_predictor(window, filter),
            LineSequence{scratch + first, spectrum + first, count, filter.downwards ? -1 : 1});
    }
  }
}

// The runs of a frame.
class ShapingRuns {
 public:
  void add(const Predictor& predictor, const LineSequence& lines) {
    ShapingRun& run = runs_[count_++];
    run = {predictor, {make_filter(predictor), lines}};
    run.all_pole.filter.shift = headroom(lines.in + lines.lowest(), lines.count);
  }
  // In pairs of about the same length.
  void execute() {
    std::sort(runs_, runs_ + count_, [](const ShapingRun& one, const ShapingRun& other) {
      return one.all_pole.lines.count < other.all_pole.lines.count;
    });
    for (; count_ >= 2; count_ -= 2) execute_pair(runs_[count_ - 2], runs_[count_ - 1]);
    if (count_ == 1) run_synthesis(runs_[0]);
  }

 private:
  static void execute_pair(ShapingRun& shorter, ShapingRun& longer) {
    if (core_kernels().all_pole_pair(shorter.all_pole, longer.all_pole)) return;
    run_synthesis(shorter);
    run_synthesis(longer);
  }

  // A long window has up to three filters, a short one has one.
  static constexpr int kMaxRuns = kMaxChannels * kMaxWindows;
  ShapingRun runs_[kMaxRuns];
  int count_ = 0;
};

}  // namespace

void shape_noise(Frame& frame, const StreamFormat& format, int32_t* scratch) {
  ShapingRuns runs;
  for (int c = 0; c < frame.channel_count; ++c) {
    for_each_filter(
        frame.channel[c], format, frame.spectrum[c], scratch + c * kFrameLength,
        [&](const Predictor& predictor, const LineSequence& lines) { runs.add(predictor, lines); });
  }
  runs.execute();
}

void undo_noise_shaping(const ChannelStream& channel, const StreamFormat& format, int32_t* lines,
                        int32_t* scratch) {
  for_each_filter(channel, format, lines, scratch, run_analysis);
}

}  // namespace zdr::aacdec
