// Stores the observer of the process. Without one, a read costs one additional load.
#include "platform/win32/runtime/files/read_notice.h"

#include <atomic>
#include <mutex>

#include "platform/win32/read_observer.h"

namespace zdr::platform {

namespace {

constinit std::mutex observer_mutex;
constinit ReadObserver* current_observer = nullptr;
constinit std::atomic<bool> has_observer{false};

}  // namespace

void notice_read(uint64_t offset, size_t bytes) noexcept {
  if (!has_observer.load(std::memory_order_relaxed)) return;
  const std::lock_guard lock(observer_mutex);
  if (current_observer != nullptr) current_observer->on_read(offset, bytes);
}

void set_read_observer(ReadObserver* observer) noexcept {
  const std::lock_guard lock(observer_mutex);
  current_observer = observer;
  has_observer.store(observer != nullptr, std::memory_order_relaxed);
}

}  // namespace zdr::platform
