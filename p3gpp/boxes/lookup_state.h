// The positions that sample lookups carry from one call to the next. They are fields of the sample table
// records; P3GPP_OpenTrack resets them.
#pragma once

#include <cstdint>

namespace zdr::p3gpp {

// A run of a run-length coded table: its index, and how many samples the runs before it cover.
struct RunPosition {
  uint32_t index = 0;           // equals the entry count past the last run
  uint64_t samples_before = 0;  // 64 bits: the counts of a file may add up to more than 32
};

// A run of stts.
struct TimedRunPosition : RunPosition {
  uint32_t time = 0;  // decoding time of the run's first sample, media time scale
};

// An entry of stss, and how many entries are known to be sorted. Searches start at the first entry, so each
// entry is compared with the one before it when it is first read.
struct SyncPosition {
  uint32_t index = 0;
  uint32_t sorted_count = 0;  // entries [0, sorted_count) are in ascending order
  uint32_t last_sorted = 0;   // value of the last of them
};

// Sum of the sizes of the samples [first, next), so that locating the same sample again, or a later one in
// its chunk, does not add up the chunk's sizes from the start.
struct PartialSizeSum {
  uint32_t first = 0;  // 1-based; 0: nothing summed
  uint32_t next = 0;
  uint64_t bytes = 0;
};

// Where the next sample of a chunk begins, so that reading in order adds up no sizes.
struct SequentialRead {
  uint32_t last_sample = 0;   // number of the sample located last
  uint64_t chunk_offset = 0;  // of the chunk it came from
  bool valid = false;
  uint64_t next_offset = 0;  // file offset just past that sample
};

}  // namespace zdr::p3gpp
