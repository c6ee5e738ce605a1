// Finding frames in a piece of the stream: the length of the frame at its start, and the next place at which
// one could begin.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "aacdec/zd_aac_dec.h"

namespace zdr::aacf {

using Bytes = std::span<const uint8_t>;

// What frames are recognised by.
struct AACF_SyncState {
  int32_t kind = 0;  // AACF_KIND_
  uint32_t bitrate_mode = 0;
  uint32_t bitrate = 0;
  std::array<uint8_t, 8> first_header{};  // of ADTS: every header begins like this one
  Zd_AAC_Dec_Config config{};             // of the other kinds
};

// AACF_OK: `length` are the bytes to the start of the next frame. kHeaderCutOff: `length` is untouched.
// Else AACF_ERR_NEED_MORE_DATA, or AACF_ERR_FAILED for an ADTS frame of length 0.
int32_t frame_sync(const AACF_SyncState& state, Bytes data, uint32_t& length);

// AACF_OK: a frame may begin at `offset`. Else AACF_ERR_NEED_MORE_DATA, and `offset` is where the search
// ended.
int32_t resync(const AACF_SyncState& state, Bytes data, uint32_t& offset);

}  // namespace zdr::aacf
