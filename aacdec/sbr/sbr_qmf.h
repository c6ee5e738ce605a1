// The complex QMF banks of SBR (ISO/IEC 14496-3, 4.6.18.4): 32-band analysis of the core signal, 64-band
// synthesis at twice its rate and 32-band synthesis at its own.
//
// Sub-band samples are kept band by band, a row of slots for each: everything behind the analysis runs along
// a row. They are 32-bit integers at 2^6 a step of 16-bit PCM; full scale is about 2^27.
#pragma once

#include <cstdint>

namespace zdr::aacdec {

inline constexpr int kQmfBands = 64;
inline constexpr int kCoreBands = 32;  // of the analysis
inline constexpr int kQmfSlots = 32;   // of a frame
// Slots of a row in front of the first one that is put out: the adjustment delay.
inline constexpr int kLeadSlots = 2;
// Slots of a row that hold samples of the frame before; the analysis writes those behind them.
inline constexpr int kHistorySlots = 8;
inline constexpr int kRowSlots = kHistorySlots + kQmfSlots;
inline constexpr int kRowStride = 48;
inline constexpr int kSampleScaleBits = 6;

// Slot l of the output is re[band][kLeadSlots + l].
struct QmfMatrix {
  alignas(64) int32_t re[kQmfBands][kRowStride];
  alignas(64) int32_t im[kQmfBands][kRowStride];
};

struct QmfAnalysisState {
  int16_t history[9 * kCoreBands];  // the last samples, in time order
};

// Time signals before the window, by position in the slot, of slots in time order.
struct QmfSynthesisState {
  int32_t history[2 * kQmfBands][10];
};

// Memory that means nothing between calls.
struct QmfScratch {
  alignas(64) int32_t rows[2 * kQmfBands][kRowStride];
};

// Columns [first, end) of a row.
void clear_columns(QmfMatrix& bands, int row, int first, int end);

// Reads 1024 samples at pcm[i * stride]; writes slots kHistorySlots and up of rows 0 to 31.
void qmf_analyse(const int16_t* pcm, int stride, QmfAnalysisState& state, QmfScratch& scratch,
                 QmfMatrix& bands);

// Puts out the 32 slots as 32 * `band_count` samples at pcm[i * stride], rounded and clamped to 16 bits.
// `band_count` is 64 or 32; 32 takes the lower bands alone. Samples in `bands` are at 2^scale_bits a step,
// of any size below 2^31.
void qmf_synthesise(const QmfMatrix& bands, int band_count, int scale_bits, QmfSynthesisState& state,
                    QmfScratch& scratch, int16_t* pcm, int stride);

}  // namespace zdr::aacdec
