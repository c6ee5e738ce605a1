// The per-thread record, and the last error kept in it.
#include <atomic>

#include "platform/win32/runtime/thread_state.h"
#include "platform/win32/win32_error.h"

namespace zdr::platform {

thread_local constinit ThreadState this_thread{};

uint32_t new_thread_id() noexcept {
  static constinit std::atomic<uint32_t> last_id{0};
  constexpr uint32_t kIdMask = 0x7FFFFFFF;
  uint32_t id = 0;
  while (id == 0) id = (last_id.fetch_add(1, std::memory_order_relaxed) + 1) & kIdMask;
  return id;
}

}  // namespace zdr::platform

DWORD GetLastError(void) noexcept {
  return zdr::platform::this_thread.last_error;
}

void SetLastError(DWORD code) noexcept {
  zdr::platform::this_thread.last_error = code;
}
