// Finds frames in a part of a stream: the length of the frame at its start, and the next position at which a
// frame may begin.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "aacdec/zd_aac_dec.h"
#include "esparse/aac/aacf.h"

namespace zdr::aacf {

using Bytes = std::span<const uint8_t>;

// Kept: a header in the last bytes of the data yields the 16-bit form of AACF_ERR_NEED_MORE_DATA. That is
// positive, so callers take it for success, with the frame length unchanged.
inline constexpr int32_t kTruncatedHeader = 55435;
static_assert(kTruncatedHeader == static_cast<uint16_t>(AACF_ERR_NEED_MORE_DATA));

// What is needed to recognise the frames of a stream.
struct AACF_SyncState {
  int32_t kind = 0;                       // an AACF_KIND_
  std::array<uint8_t, 8> first_header{};  // ADTS: the reference for all later headers
  Zd_AAC_Dec_Config config{};             // the other kinds: for measuring blocks
};

// Measures the frame at the start of `data`. On AACF_OK, `length` is the number of bytes to the start of the
// next frame. Otherwise `length` is unchanged and the result is kTruncatedHeader, AACF_ERR_NEED_MORE_DATA, or
// AACF_ERR_FAILED for an ADTS frame of length 0.
int32_t frame_sync(const AACF_SyncState& state, Bytes data, uint32_t& length);

// Searches ADTS data for a header. On AACF_OK the header is at `offset`; on AACF_ERR_NEED_MORE_DATA the
// search ended at `offset`.
int32_t find_next_header(const AACF_SyncState& state, Bytes data, uint32_t& offset);

}  // namespace zdr::aacf
