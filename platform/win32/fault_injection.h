// The seam through which tests make the Nth file operation, object creation or allocation fail: a test
// program defines zdr_fault_hook. In other programs the weak symbol is null, and each point costs one
// comparison.
#pragma once

#include <cstdint>

#include "win32_types.h"

namespace zdr::platform {

// What fails, and the last error of the failing call.
enum class FaultPoint : uint32_t {
  kFileOpen,        // ERROR_IO_DEVICE 1117
  kFileRead,        // ERROR_IO_DEVICE 1117
  kFileWrite,       // ERROR_DISK_FULL 112
  kFileSeek,        // ERROR_SEEK 25
  kFileSize,        // ERROR_IO_DEVICE 1117
  kEventCreate,     // ERROR_NOT_ENOUGH_MEMORY 8
  kMutexCreate,     // ERROR_NOT_ENOUGH_MEMORY 8
  kThreadCreate,    // ERROR_NOT_ENOUGH_MEMORY 8
  kRegistryStep,    // ERROR_IO_DEVICE 1117, returned; one step of loading or replacing the registry's file
  kTaskAllocation,  // none: CoTaskMemAlloc returns null
  kHeapAllocation,  // none: an allocation of the layers above, with a status of their own
};

}  // namespace zdr::platform

// Returns true to make this call fail. Runs on the calling thread; several threads may call it at once.
extern "C" __attribute__((weak, visibility("default"))) bool zdr_fault_hook(
    zdr::platform::FaultPoint point) noexcept;

namespace zdr::platform {

// Called once at the start of an operation that can fail at `point`.
inline bool should_fail(FaultPoint point) noexcept {
  return zdr_fault_hook != nullptr && zdr_fault_hook(point);
}

}  // namespace zdr::platform
