// Records that HF generation, adjustment and mixing share: the scale of each generated row, and the levels of
// one envelope by band.
#pragma once

#include <algorithm>
#include <cstdint>

#include "aacdec/fixed/magnitude.h"
#include "aacdec/sbr/qmf_data.h"
#include "aacdec/tables/sbr_noise.h"

namespace zdr::aacdec {

// Each generated row has its own scale, so that neither loud nor quiet rows lose precision.
struct RowScale {
  int8_t exponent = 0;  // samples, which are below 2^28, times 2^exponent are steps of 16-bit PCM
};

// Kernels compute rows of magnitudes in blocks of this size, whatever the instruction set: the numbers after
// the last one, up to the end of its block, are read and overwritten.
inline constexpr int kMagnitudeBlock = 8;

constexpr int whole_blocks(int count) {
  return (count + kMagnitudeBlock - 1) / kMagnitudeBlock * kMagnitudeBlock;
}

// A row of numbers, such as the levels of all bands from kx on, with mantissas and exponents apart, so that
// vectors of them can be loaded.
struct MagnitudeRow {
  uint32_t mantissa[kQmfBands];
  int32_t exponent[kQmfBands];
  static_assert(kQmfBands % kMagnitudeBlock == 0);

  Magnitude operator[](int i) const { return {mantissa[i], exponent[i]}; }
  bool is_zero(int i) const { return mantissa[i] == 0; }
  void set(int i, Magnitude v) {
    mantissa[i] = v.mantissa;
    exponent[i] = v.exponent;
  }
  void fill(int first, int end, Magnitude v) {
    for (int i = first; i < end; ++i) set(i, v);
  }
  // Clears the rest of the last block.
  void clear_after(int count) { fill(count, whole_blocks(count), {}); }
  void copy(const MagnitudeRow& from, int count) {
    std::copy_n(from.mantissa, count, mantissa);
    std::copy_n(from.exponent, count, exponent);
  }
};

// The noise of SBR (kSbrNoiseQ31) in the order in which a band reads it: the values of consecutive slots,
// which are `step` apart in the sequence, follow each other.
struct NoiseTable {
  // A band reads a cycle of the sequence, for each remainder of the index by the common divisor of `step` and
  // the length. Behind each cycle its start is repeated, as far as eight values and the next one reach.
  static constexpr int kRepeated = 8;
  static constexpr int kLargestStep = kQmfBands;
  static constexpr int kSize = kSbrNoiseLength + kRepeated * kLargestStep;

  int32_t re[kSize];
  int32_t im[kSize];
  uint16_t place[kSbrNoiseLength];  // of each value of the sequence
  int32_t step;                     // 0 before the first arrange()

  // `new_step` is 1 to kLargestStep. Does nothing if the step is the same.
  void arrange(int new_step);
};

// Scaled signal, noise and sine are each limited to 2^kPartBits.
inline constexpr int kPartBits = 29;

// Gain, noise and sine are energies until the adjustment replaces them by their square roots for mixing.
struct SbrLevels {
  MagnitudeRow target;   // transmitted energy
  MagnitudeRow present;  // energy of the copied signal, with the gain from limit_levels() on
  MagnitudeRow gain;
  MagnitudeRow noise;
  MagnitudeRow sine;
  // The parts of the target energy that are noise and that are copied signal.
  MagnitudeRow noise_part;
  MagnitudeRow signal_part;
  MagnitudeRow factor;  // the limit of the gain, then the boost after limiting
  // By band: samples of the copied signal times 2^exponent are at kSampleScaleBits. Before the gain, stored
  // samples are below 2^bits.
  int32_t exponent[kQmfBands];
  int32_t bits[kQmfBands];
  bool has_sine[kQmfBands];
  int32_t sine_count;      // if 0, `sine` and `has_sine` are all zero
  NoiseTable noise_table;  // kept from frame to frame
};

}  // namespace zdr::aacdec
