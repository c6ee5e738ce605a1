// Opens a file, valid or damaged, and runs every query and lookup of the parser on it.
#pragma once

#include <vector>

#include "p3gpp/p3gpp.h"

namespace zdr::test {

struct ExerciseResult {
  int32_t open_status = 0;
  // First status that is not documented, 1 where a batch of samples is not as located one by one, or 0.
  int32_t undocumented_status = 0;
  std::vector<int32_t> statuses = {};  // of all calls, in order
  uint32_t tracks = 0;
  uint32_t tags = 0;
  uint64_t checksum = 0;  // over all returned bytes, so that they are actually read
};

// Every track is opened, and up to `sample_limit` of its samples are located, timed and read.
ExerciseResult exercise(const FMGR_Descriptor& descriptor, FMGR_Context* context, uint32_t sample_limit);

}  // namespace zdr::test
