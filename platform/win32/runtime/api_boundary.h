// How the public functions return: an internal error code becomes the last error and FALSE, and no exception
// leaves them.
#pragma once

#include <utility>

#include "platform/win32/win32_error.h"

namespace zdr::platform {

// TRUE for NO_ERROR, which leaves the last error alone; else FALSE with the code as the last error.
inline BOOL report(DWORD error) noexcept {
  if (error == NO_ERROR) return TRUE;
  SetLastError(error);
  return FALSE;
}

// Runs `body`, which returns an error code. The only exceptions inside the runtime are those of failed
// allocations.
template <class Body>
DWORD guarded(Body&& body) noexcept {
  try {
    return std::forward<Body>(body)();
  } catch (...) {
    return ERROR_NOT_ENOUGH_MEMORY;
  }
}

}  // namespace zdr::platform
