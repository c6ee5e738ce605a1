// A limit on the memory of this process. Exhausted memory is handled everywhere, so a limit turns a file that
// would take too much of it into an error.
#pragma once

#include "win32_types.h"

namespace zdr::platform {

// From now on the process can take `bytes` more than it has, in writable memory of any kind, stacks of new
// threads included; beyond that, allocations fail. The limit can be raised and lowered again. It has no
// effect where the kernel does not count the memory of a process, and in a program that reserves terabytes
// (the sanitizers do).
ZDR_PLATFORM_API void limit_memory(uint64_t bytes) noexcept;

}  // namespace zdr::platform
