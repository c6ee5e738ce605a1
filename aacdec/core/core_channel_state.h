// The state that the core synthesis of one channel carries from frame to frame.
#pragma once

#include <cstdint>

#include "aacdec/syntax/stream_format.h"

namespace zdr::aacdec {

inline constexpr int kLtpHistory = 2 * kFrameLength;

struct CoreChannelState {
  // The windowed second half of the previous frame, at 2^5 per step of 16-bit PCM, in SampleOrder.
  alignas(64) int32_t overlap[kFrameLength];
  // LTP: the last output samples, newest last. Updated in the LTP profile only.
  alignas(64) int16_t history[kLtpHistory];
  uint32_t noise_state;  // of the PNS generator
  uint8_t previous_window_shape;
};

}  // namespace zdr::aacdec
