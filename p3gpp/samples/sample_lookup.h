// Maps sample numbers to sizes, file offsets and times, and times to sample numbers, by the tables of one
// track.
//
// Every lookup moves the positions inside the tables (lookup_state.h). A failed lookup leaves them at the
// last entry that could be read. Sizes do not depend on earlier calls, and offsets only where chunks share
// one; times, sync searches and time-to-sample may, in ways that players rely on (docs/kept-behaviours.md).
//
// Common statuses: P3GPP_ERR_NO_TABLE for a missing table, P3GPP_ERR_OUT_OF_RANGE for a sample number that is
// 0 or above the sample count (unless stated otherwise), P3GPP_ERR_READ and P3GPP_ERR_SEEK from the file.
// Sample numbers are 1-based, times in the media time scale.
#pragma once

#include <cstdint>
#include <limits>

#include "p3gpp/boxes/movie_boxes.h"
#include "p3gpp/boxes/sample_tables.h"
#include "p3gpp/parse/status.h"

namespace zdr::p3gpp {

// --- Sizes (sample_size.cpp) ---

// Sample number 0: P3GPP_ERR_BAD_ARGUMENT.
Status sample_size(StszPayload& stsz, uint32_t number, uint32_t& size);
// Bytes of the samples [first, next). The caller has checked both numbers; first <= next.
Status bytes_between(StszPayload& stsz, uint32_t first, uint32_t next, uint64_t& bytes);
Status largest_sample_size(const StszPayload& stsz, uint32_t& size);
// Bytes of the first `count` samples, which the table must have.
Status bytes_of_first(const StszPayload& stsz, uint32_t count, uint64_t& bytes);

// --- Locations (sample_location.cpp) ---

// Fills the output fields of `sample` for sample.number; the decoding time without edit shift.
Status locate_sample(StblPayload& stbl, P3gppSample& sample);

// --- Times (sample_times.cpp, time_to_sample.cpp) ---

inline constexpr uint64_t kLastTime = std::numeric_limits<uint32_t>::max();

// Both times are input and output: for a sample that a table does not reach, the earlier value remains
// (decoding) or is added (composition). P3GPP_ERR_OUT_OF_RANGE also for a decoding time above 32 bits.
Status sample_times(StblPayload& stbl, uint32_t number, uint32_t& decoding_time, uint32_t& composition_time);

struct TimedSample {
  uint32_t number = 0;
  uint32_t time = 0;  // decoding time of that sample
};
Status time_to_sample(StblPayload& stbl, uint32_t time, TimedSample& sample);

// Moves the position back over the run before it, which must exist, and reads that run into `entry`.
Status step_back(SttsPayload& stts, SttsEntry& entry);

// --- Sync samples (sync_samples.cpp) ---

// Sample number 0: P3GPP_ERR_BAD_ARGUMENT; above the sample count: false, without an error.
Status is_sync_sample(StblPayload& stbl, uint32_t number, bool& is_sync);

enum class SyncDirection : uint8_t { kForward, kBackward };
// P3GPP_ERR_NO_SYNC_SAMPLE when there is none in that direction.
Status find_sync_sample(StblPayload& stbl, uint32_t number, SyncDirection direction, uint32_t& found);

}  // namespace zdr::p3gpp
