// The samples of the complex QMF banks of SBR (ISO/IEC 14496-3, 4.6.18.4) and the delay lines of the banks:
// 32-band analysis of the core signal, 64-band synthesis at twice its rate, 32-band synthesis at its own.
//
// Sub-band samples are stored band by band, one row of slots for each, because everything after the analysis
// runs along rows. They are 32-bit integers at 2^6 per step of 16-bit PCM; full scale is about 2^27.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace zdr::aacdec {

inline constexpr int kQmfBands = 64;
inline constexpr int kCoreBands = 32;  // of the analysis
inline constexpr int kQmfSlots = 32;   // of a frame
// Slots of a row before the first output slot: the delay of the HF adjustment.
inline constexpr int kLeadSlots = 2;
// Slots of a row with samples of the previous frame; the analysis writes the slots after them.
inline constexpr int kHistorySlots = 8;
inline constexpr int kRowSlots = kHistorySlots + kQmfSlots;
inline constexpr int kRowStride = 48;
inline constexpr int kSampleScaleBits = 6;

// Output slot l is re[band][kLeadSlots + l].
struct QmfMatrix {
  alignas(64) int32_t re[kQmfBands][kRowStride];
  alignas(64) int32_t im[kQmfBands][kRowStride];
};

struct QmfAnalysisState {
  int16_t history[9 * kCoreBands];  // the last samples, oldest first
};

// Time signals before the window: by position in the slot, then by slot, oldest first.
struct QmfSynthesisState {
  int32_t history[2 * kQmfBands][10];
};

// Working memory; its contents are not preserved between calls.
struct QmfScratch {
  alignas(64) int32_t rows[2 * kQmfBands][kRowStride];
};

// Copies a few slots, an even number up to 8. Each frame copies hundreds of such runs, and a call for each
// takes longer than the copy.
inline void copy_few_slots(const int32_t* from, int count, int32_t* to) {
  if (count >= 4) {
    std::memcpy(to, from, 4 * sizeof *to);
    std::memcpy(to + count - 4, from + count - 4, 4 * sizeof *to);
  } else if (count == 2) {
    std::memcpy(to, from, 2 * sizeof *to);
  }
}

inline void clear_few_slots(int32_t* slots, int count) {
  static constexpr int32_t kZeros[8] = {};
  copy_few_slots(kZeros, count, slots);
}

// Clears columns [first, end) of a row, an even number up to 8.
inline void clear_few_columns(QmfMatrix& bands, int row, int first, int end) {
  clear_few_slots(bands.re[row] + first, end - first);
  clear_few_slots(bands.im[row] + first, end - first);
}

// Clears rows [first, end).
inline void clear_rows(QmfMatrix& bands, int first, int end) {
  if (first >= end) return;
  const auto bytes = static_cast<size_t>(end - first) * sizeof bands.re[0];
  std::memset(bands.re[first], 0, bytes);
  std::memset(bands.im[first], 0, bytes);
}

// Clears columns [first, end) of a row.
inline void clear_columns(QmfMatrix& bands, int row, int first, int end) {
  std::fill(bands.re[row] + first, bands.re[row] + end, 0);
  std::fill(bands.im[row] + first, bands.im[row] + end, 0);
}

}  // namespace zdr::aacdec
