// Computes the gain of each band from its control value and the program reference level.
#include "aacdec/core/dynamic_range_gain.h"

#include <algorithm>
#include <bit>

#include "aacdec/fixed/fixed_point.h"
#include "aacdec/syntax/frame.h"
#include "aacdec/tables/tools_tables.h"

namespace zdr::aacdec {
namespace {

// The control value of gain index 42.
constexpr int kReferenceControl = 168;
// A gain index is four units of control or reference level.
constexpr int kUnitsPerStep = 4;

// A factor up to 2^3.4, as a Q31 multiplication followed by a left shift.
struct Gain {
  int32_t factor;
  int shift;
};

// 2^((c + p) / 6 - 14).
//
// Kept: gains move in steps of four control units, and without a reference level a control of 0 gives -42 dB
// instead of unity.
Gain band_gain(const DynamicRange& range, int band) {
  const int control = range.negative[band] ? -range.control[band] : range.control[band];
  const int32_t c = dynamic_range_gain((kReferenceControl + control) / kUnitsPerStep);
  const int32_t p = dynamic_range_gain(range.program_reference_level / kUnitsPerStep);
  constexpr int kScale = 6;
  const int32_t product = mul_q31(c, p << kScale);
  // The product times 2^6 is the factor in Q31, which cannot represent gains of 1 and more.
  const int fitting = std::min(kScale, std::countl_zero(static_cast<uint32_t>(product)) - 1);
  return {product << fitting, kScale - fitting};
}

}  // namespace

void apply_dynamic_range(const DynamicRange& range, int32_t* spectrum) {
  int line = 0;
  for (int band = 0; band < range.band_count; ++band) {
    const Gain gain = band_gain(range, band);
    const int end = std::min(4 * range.band_top[band] + 4, kSpectrumLines);
    for (; line < end; ++line) {
      spectrum[line] = shift_left_saturating(mul_q31(spectrum[line], gain.factor), gain.shift);
    }
  }
}

}  // namespace zdr::aacdec
