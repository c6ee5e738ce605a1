// Finds frames in a piece of a stream: the length of the frame at its start, and the next place where a frame
// may begin.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "aacdec/zd_aac_dec.h"
#include "esparse/aac/aacf.h"

namespace zdr::aacf {

using Bytes = std::span<const uint8_t>;

// Kept: a header in the last bytes of the data yields the 16-bit form of AACF_ERR_NEED_MORE_DATA. That is
// positive, and so taken for a success that leaves the frame length as it was.
inline constexpr int32_t kTruncatedHeader = 55435;
static_assert(kTruncatedHeader == static_cast<uint16_t>(AACF_ERR_NEED_MORE_DATA));

// The properties by which frames are recognised.
struct AACF_SyncState {
  int32_t kind = 0;                       // an AACF_KIND_
  std::array<uint8_t, 8> first_header{};  // ADTS: every header begins like this one
  Zd_AAC_Dec_Config config{};             // the other kinds: for measuring blocks
};

// Measures the frame at the start of `data`. AACF_OK: `length` is the number of bytes to the start of the
// next frame. Else `length` is untouched: kTruncatedHeader, AACF_ERR_NEED_MORE_DATA, or AACF_ERR_FAILED for
// an ADTS frame of length 0.
int32_t frame_sync(const AACF_SyncState& state, Bytes data, uint32_t& length);

// Searches ADTS data for a header. AACF_OK: one is at `offset`. AACF_ERR_NEED_MORE_DATA: the search ended at
// `offset`.
int32_t find_next_header(const AACF_SyncState& state, Bytes data, uint32_t& offset);

}  // namespace zdr::aacf
