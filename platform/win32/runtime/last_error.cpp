// The per-thread record, and the last error kept in it.
#include "platform/win32/runtime/thread_state.h"
#include "platform/win32/win32_error.h"

namespace zdr::platform {

thread_local constinit ThreadState this_thread{};

}  // namespace zdr::platform

DWORD GetLastError(void) noexcept {
  return zdr::platform::this_thread.last_error;
}

void SetLastError(DWORD code) noexcept {
  zdr::platform::this_thread.last_error = code;
}
