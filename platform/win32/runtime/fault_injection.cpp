// The installed fault hook and its call counts.
#include "platform/win32/fault_injection.h"

#include <array>

namespace zdr::platform {

namespace {

std::atomic<FaultHook> installed_hook{nullptr};
std::atomic<void*> hook_context{nullptr};
std::array<std::atomic<uint64_t>, static_cast<size_t>(FaultPoint::kCount)> call_counts{};

}  // namespace

namespace detail {

constinit std::atomic<bool> fault_hook_installed{false};

bool ask_fault_hook(FaultPoint point) noexcept {
  call_counts[static_cast<size_t>(point)].fetch_add(1, std::memory_order_relaxed);
  const FaultHook hook = installed_hook.load(std::memory_order_acquire);
  return hook != nullptr && hook(point, hook_context.load(std::memory_order_relaxed));
}

}  // namespace detail

void set_fault_hook(FaultHook hook, void* context) noexcept {
  for (auto& count : call_counts) count.store(0, std::memory_order_relaxed);
  hook_context.store(context, std::memory_order_relaxed);
  installed_hook.store(hook, std::memory_order_release);
  detail::fault_hook_installed.store(hook != nullptr, std::memory_order_release);
}

uint64_t fault_calls(FaultPoint point) noexcept {
  return call_counts[static_cast<size_t>(point)].load(std::memory_order_relaxed);
}

}  // namespace zdr::platform
