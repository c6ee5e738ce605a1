// Passes reads on to the observer of read_observer.h.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zdr::platform {

void notice_read(uint64_t offset, size_t bytes) noexcept;

}  // namespace zdr::platform
