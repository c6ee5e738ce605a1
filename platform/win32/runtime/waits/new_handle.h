// The results of the functions that create waitable objects: a new handle, or a failure.
#pragma once

#include <utility>

#include "platform/win32/runtime/handle_table.h"
#include "platform/win32/win32_error.h"

namespace zdr::platform {

inline bool is_named(LPCWSTR name) noexcept {
  return name != nullptr && *name != 0;
}

inline HANDLE fail_handle(DWORD error) noexcept {
  SetLastError(error);
  return nullptr;
}

// A new handle to the object, which is null if there was no memory for it. Success sets the last error,
// because callers use it to learn whether the object existed.
inline HANDLE new_handle(Ref<KernelObject> object, DWORD success_error) noexcept {
  if (!object) return fail_handle(ERROR_NOT_ENOUGH_MEMORY);
  const HANDLE handle = open_handle(std::move(object));
  if (handle == nullptr) return fail_handle(ERROR_NO_SYSTEM_RESOURCES);
  SetLastError(success_error);
  return handle;
}

}  // namespace zdr::platform
