// The installed fault hook.
#include "platform/win32/fault_injection.h"

namespace zdr::platform {

namespace {

std::atomic<FaultHook> installed_hook{nullptr};
std::atomic<void*> hook_context{nullptr};

}  // namespace

namespace detail {

constinit std::atomic<bool> fault_hook_installed{false};

bool call_fault_hook(FaultPoint point) noexcept {
  const FaultHook hook = installed_hook.load(std::memory_order_acquire);
  return hook != nullptr && hook(point, hook_context.load(std::memory_order_relaxed));
}

}  // namespace detail

void set_fault_hook(FaultHook hook, void* context) noexcept {
  hook_context.store(context, std::memory_order_relaxed);
  installed_hook.store(hook, std::memory_order_release);
  detail::fault_hook_installed.store(hook != nullptr, std::memory_order_release);
}

}  // namespace zdr::platform
