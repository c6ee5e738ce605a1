// How the public functions end: an inner error code becomes the last error and FALSE, and no exception
// passes.
#pragma once

#include <utility>

#include "platform/win32/win32_error.h"

namespace zdr::platform {

// TRUE and an untouched last error for NO_ERROR, else FALSE with the code as last error.
inline BOOL report(DWORD error) noexcept {
  if (error == NO_ERROR) return TRUE;
  SetLastError(error);
  return FALSE;
}

// Runs `body` (which returns an error code); only memory can run out inside the runtime.
template <class Body>
DWORD guarded(Body&& body) noexcept {
  try {
    return std::forward<Body>(body)();
  } catch (...) {
    return ERROR_NOT_ENOUGH_MEMORY;
  }
}

}  // namespace zdr::platform
