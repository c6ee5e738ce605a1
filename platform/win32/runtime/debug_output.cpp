// OutputDebugStringW and its hook.
#include "platform/win32/debug_output.h"

#include <mutex>

#include "platform/win32/runtime/thread_state.h"
#include "platform/win32/win32_error.h"

namespace zdr::platform {

namespace {

struct DebugOutput {
  DebugOutputHook hook = nullptr;
  void* context = nullptr;
};

constinit std::mutex output_mutex;
constinit DebugOutput output;

DebugOutput current_output() noexcept {
  std::lock_guard lock(output_mutex);
  return output;
}

}  // namespace

void set_debug_output_hook(DebugOutputHook hook, void* context) noexcept {
  std::lock_guard lock(output_mutex);
  output = {hook, context};
}

}  // namespace zdr::platform

void OutputDebugStringW(LPCWSTR text) noexcept {
  using namespace zdr::platform;
  if (text == nullptr) return;
  const DebugOutput target = current_output();
  if (target.hook == nullptr) return;
  const DWORD previous_error = this_thread.last_error;
  target.hook(text, target.context);
  this_thread.last_error = previous_error;
}
