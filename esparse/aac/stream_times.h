// Converts between frames, bytes and times of a stream, in double precision. Results are truncated.
#pragma once

#include <cstdint>

#include "aacdec/zd_aac_dec.h"
#include "esparse/aac/aacf.h"

namespace zdr::aacf {

// Both truncate and clamp to 32 bits.
uint32_t truncated(double value);
uint32_t saturated_sum(uint32_t base, double distance);

// The mean size of the frames scanned at open; 0 without frames.
double mean_frame_bytes(const AACF_StreamInfo& info);

// A frame has `frameLength` samples at `sampleRate`. Frames are numbered from 1.
double duration_of_frames_ms(uint32_t frames, const Zd_AAC_Dec_Config& config);
uint32_t stream_duration_ms(uint32_t frames, const Zd_AAC_Dec_Config& config);
uint32_t frame_at_ms(uint32_t time_ms, const Zd_AAC_Dec_Config& config);
uint64_t start_of_frame_ms(uint32_t number, const Zd_AAC_Dec_Config& config);

}  // namespace zdr::aacf
