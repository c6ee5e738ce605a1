// The per-thread record: last error and thread numbers.
#include <atomic>

#include "platform/win32/runtime/thread_state.h"
#include "platform/win32/win32_error.h"

namespace zdr::platform {

thread_local constinit ThreadState this_thread{};

uint32_t new_thread_id() noexcept {
  static constinit std::atomic<uint32_t> last_id{0};
  return last_id.fetch_add(1, std::memory_order_relaxed) % kLargestThreadId + 1;
}

}  // namespace zdr::platform

DWORD GetLastError(void) noexcept {
  return zdr::platform::this_thread.last_error;
}

void SetLastError(DWORD code) noexcept {
  zdr::platform::this_thread.last_error = code;
}
