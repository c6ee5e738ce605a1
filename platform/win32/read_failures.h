// Reads that failed. The layers above take a failed read for the end of the data, so a program that has to
// know whether it saw the whole of a file asks here.
#pragma once

#include "win32_types.h"

namespace zdr::platform {

struct ReadFailure {
  uint64_t offset;   // of the first byte that could not be read
  int system_error;  // errno; 0: the file has become shorter than it was when it was opened
};

// Both may be called from any thread. They concern all files that this process reads through handles without
// the right to write.
ZDR_PLATFORM_API void forget_read_failures() noexcept;
// Returns the first failure since the last call of forget_read_failures(). False if there is none.
ZDR_PLATFORM_API bool first_read_failure(ReadFailure& failure) noexcept;

}  // namespace zdr::platform
