// The seam through which tests make the Nth file operation, object creation or allocation fail.
// Without a hook each point costs one relaxed load.
#pragma once

#include <atomic>
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
  kTaskAllocation,  // none: CoTaskMemAlloc and CoTaskMemRealloc return NULL
  kHeapAllocation,  // none: an allocation of the layers above, with a status of their own
};

// Returns true to make this call fail. Runs on the calling thread; several threads may call it at once.
using FaultHook = bool (*)(FaultPoint point, void* context);

// Installs a hook (nullptr removes it). No other thread may be inside the platform during the call.
ZDR_PLATFORM_API void set_fault_hook(FaultHook hook, void* context) noexcept;

namespace detail {
ZDR_PLATFORM_API extern std::atomic<bool> fault_hook_installed;
ZDR_PLATFORM_API bool call_fault_hook(FaultPoint point) noexcept;
}  // namespace detail

// Called once at the start of an operation that can fail at `point`.
inline bool should_fail(FaultPoint point) noexcept {
  return detail::fault_hook_installed.load(std::memory_order_relaxed) && detail::call_fault_hook(point);
}

}  // namespace zdr::platform
