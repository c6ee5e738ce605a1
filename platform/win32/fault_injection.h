// The seam at which tests let the Nth file operation, object creation or allocation fail.
// Without a hook each point costs one relaxed load.
#pragma once

#include <atomic>
#include <cstdint>

#include "win32_types.h"

namespace zdr::platform {

// What fails, and the last error that the failing call leaves.
enum class FaultPoint : uint32_t {
  kFileOpen,         // ERROR_IO_DEVICE 1117
  kFileRead,         // ERROR_IO_DEVICE 1117
  kFileWrite,        // ERROR_DISK_FULL 112
  kFileSeek,         // ERROR_SEEK 25
  kFileSize,         // ERROR_IO_DEVICE 1117
  kEventCreate,      // ERROR_NOT_ENOUGH_MEMORY 8
  kMutexCreate,      // ERROR_NOT_ENOUGH_MEMORY 8
  kSemaphoreCreate,  // ERROR_NOT_ENOUGH_MEMORY 8
  kThreadCreate,     // ERROR_NOT_ENOUGH_MEMORY 8
  kRegistryStep,    // ERROR_IO_DEVICE 1117 (returned, no last error); a step of loading or replacing its file
  kTaskAllocation,  // CoTaskMemAlloc and CoTaskMemRealloc give NULL; the last error is not touched
  kHeapAllocation,  // heap of the layers above: their own status
};

// True lets this call fail. Runs on the calling thread, from any thread, possibly at once from several.
using FaultHook = bool (*)(FaultPoint point, void* context);

// Installs a hook (nullptr removes it). Only while no other thread is inside the platform.
ZDR_PLATFORM_API void set_fault_hook(FaultHook hook, void* context) noexcept;

namespace detail {
ZDR_PLATFORM_API extern std::atomic<bool> fault_hook_installed;
ZDR_PLATFORM_API bool ask_fault_hook(FaultPoint point) noexcept;
}  // namespace detail

// To be asked once at the head of an operation that can fail at `point`.
inline bool should_fail(FaultPoint point) noexcept {
  return detail::fault_hook_installed.load(std::memory_order_relaxed) && detail::ask_fault_hook(point);
}

}  // namespace zdr::platform
