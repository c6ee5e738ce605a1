// Stores the first failed read for read_failures.h.
#pragma once

#include <cstdint>

namespace zdr::platform {

// `system_error` as in ReadFailure. Allocates nothing.
void log_read_failure(uint64_t offset, int system_error) noexcept;

}  // namespace zdr::platform
