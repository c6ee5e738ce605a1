// Resamples with the spline and the emphasis in 32-bit integers, with Q15 coefficients.
#include "aacdec/resampler.h"

#include "aacdec/fixed/fixed_point.h"

namespace zdr::aacdec {
namespace {

struct Step {
  int32_t whole;      // input samples between outputs
  uint32_t fraction;  // in 2^-32, rounded to nearest
  int32_t emphasis;   // Q15
};

constexpr Step kSteps[kResamplerClasses] = {
    {2, 0, 3277},         {4, 0, 983},           {1, 1624034509, 9830}, {2, 3248069018, 1966},
    {5, 2201170739, 655}, {1, 0x80000000, 7864}, {3, 0, 1638},          {6, 0, 492},
};

constexpr int32_t kThird = 10922;  // Q15
constexpr int32_t kSixthQ16 = 10923;
constexpr int32_t kTwoThirdsQ16 = 43691;

constexpr int32_t mul_q15(int32_t a, int32_t b) {
  return a * b >> 15;
}

// Interpolates between the middle two of four samples.
int32_t interpolate(const int32_t (&x)[4], uint32_t fraction) {
  const auto t = static_cast<int32_t>(fraction >> 17);  // Q15
  const int32_t t2 = mul_q15(t, t);
  const int32_t t3 = mul_q15(t2, t);
  const int32_t half_cube = t3 >> 1;
  // The weights are (1 - t)^3 / 6, (3 t^3 - 6 t^2 + 4) / 6, the remainder to 1, and t^3 / 6. Using the
  // remainder lets a constant pass unchanged.
  const int32_t sixth_cube = mul_q15(half_cube, kThird);
  const int32_t weight0 = ((kSixthQ16 - t + t2) >> 1) - sixth_cube;
  const int32_t weight1 = (kTwoThirdsQ16 >> 1) - t2 + half_cube;
  const int32_t weight3 = sixth_cube;
  const int32_t weight2 = 32768 - weight0 - weight1 - weight3;
  return (weight0 * x[0] + weight1 * x[1] + weight2 * x[2] + weight3 * x[3]) >> 15;
}

int16_t emphasise(ResamplerState& state, int32_t sample, int32_t emphasis) {
  // Kept: the full range including -32768, unlike the output of the filter bank.
  state.last_output = saturate_to_16(sample + ((sample - state.last_output) * emphasis >> 15));
  return state.last_output;
}

// The last four input samples, copied because the output overwrites them in the buffer.
struct Window {
  int32_t x[4];

  void push(int32_t sample) {
    for (int i = 0; i < 3; ++i) x[i] = x[i + 1];
    x[3] = sample;
  }
};

void advance(ResamplerState& state, const Step& step) {
  const uint32_t fraction = state.fraction + step.fraction;
  state.position += step.whole + (fraction < step.fraction ? 1 : 0);
  state.fraction = fraction;
}

}  // namespace

int resample(ResamplerState& state, int resampling_class, int16_t* samples, int count, int stride) {
  const Step& step = kSteps[resampling_class - 1];
  Window window = {{0, state.last_input[0], state.last_input[1], state.last_input[2]}};
  int read = 0;
  int written = 0;
  while (state.position < count) {
    while (read <= state.position) window.push(samples[stride * read++]);
    samples[stride * written++] = emphasise(state, interpolate(window.x, state.fraction), step.emphasis);
    advance(state, step);
  }
  while (read < count) window.push(samples[stride * read++]);
  for (int i = 0; i < 3; ++i) state.last_input[i] = static_cast<int16_t>(window.x[i + 1]);
  state.position -= count;
  return written;
}

}  // namespace zdr::aacdec
