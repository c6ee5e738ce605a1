// The state that the SBR synthesis of one channel carries from frame to frame.
#pragma once

#include <cstdint>

#include "aacdec/sbr/qmf_data.h"
#include "aacdec/sbr/sbr_levels.h"
#include "aacdec/syntax/sbr_band_tables.h"

namespace zdr::aacdec {

struct SbrChannelState {
  QmfAnalysisState analysis;

  // From the previous frame: the last slots of its core bands, and the slots of its high bands that extend
  // past its end, up to its last border.
  int32_t core_re[kCoreBands][kHistorySlots];
  int32_t core_im[kCoreBands][kHistorySlots];
  static constexpr int kOverlapSlots = 6;
  int32_t overlap_re[kQmfBands][kOverlapSlots];
  int32_t overlap_im[kQmfBands][kOverlapSlots];
  uint8_t kx;          // its first high band
  uint8_t m;           // its number of high bands
  uint8_t end_border;  // its last border, in time slots: 16 to 19

  // SbrChannelFrame::bands_generation of the last frame with SBR data; 0: none yet (the first header of a
  // stream has 1).
  uint32_t bands_generation;
  bool has_gain_history;
  bool transient_at_end;  // the previous frame announced a transient for the first envelope of this one
  uint8_t invf_mode[kMaxNoiseBands];
  int32_t bandwidth_q31[kMaxNoiseBands];
  bool sine[kQmfBands];  // sinusoids of the last envelope, by QMF band
  uint16_t noise_index;
  uint8_t sine_phase;  // quarter turns
  // Gains and noise levels of the last four slots, in pairs of equal slots, oldest first, by band from kx on.
  static constexpr int kSmoothedSlots = 4;
  MagnitudeRow gain_history[kSmoothedSlots / 2];
  MagnitudeRow noise_history[kSmoothedSlots / 2];
};

}  // namespace zdr::aacdec
