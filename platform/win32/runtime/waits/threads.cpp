// CreateThread and SetThreadPriority.
#include <pthread.h>

#include <algorithm>
#include <array>
#include <memory>
#include <new>

#include "platform/win32/fault_injection.h"
#include "platform/win32/runtime/api_boundary.h"
#include "platform/win32/runtime/handle_table.h"
#include "platform/win32/runtime/thread_state.h"
#include "platform/win32/runtime/wait_signal.h"
#include "platform/win32/runtime/waits/thread_exit.h"
#include "platform/win32/win32_threads.h"

namespace zdr::platform {

namespace {

// Handed from the creator to the new thread.
struct ThreadStart {
  Ref<WaitSignal> ended;
  uint32_t id;
  LPTHREAD_START_ROUTINE routine;
  LPVOID argument;
};

void* run_thread(void* start_pointer) noexcept {
  std::unique_ptr<ThreadStart> start(static_cast<ThreadStart*>(start_pointer));
  this_thread.thread_id = start->id;
  signal_at_thread_exit(std::move(start->ended));
  const LPTHREAD_START_ROUTINE routine = start->routine;
  const LPVOID argument = start->argument;
  start.reset();
  routine(argument);
  return nullptr;
}

// Detached, with a stack of at least the system's default size. 0 or an errno.
int start_pthread(size_t stack_size, ThreadStart* start) noexcept {
  pthread_attr_t attributes;
  if (const int error = pthread_attr_init(&attributes); error != 0) return error;
  size_t default_size = 0;
  pthread_attr_getstacksize(&attributes, &default_size);
  pthread_attr_setstacksize(&attributes, std::max(stack_size, default_size));
  pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
  pthread_t thread;
  const int error = pthread_create(&thread, &attributes, run_thread, start);
  pthread_attr_destroy(&attributes);
  return error;
}

bool is_priority(int priority) noexcept {
  constexpr std::array kPriorities = {THREAD_PRIORITY_IDLE,         THREAD_PRIORITY_LOWEST,
                                      THREAD_PRIORITY_BELOW_NORMAL, THREAD_PRIORITY_NORMAL,
                                      THREAD_PRIORITY_ABOVE_NORMAL, THREAD_PRIORITY_HIGHEST,
                                      THREAD_PRIORITY_TIME_CRITICAL};
  return std::find(kPriorities.begin(), kPriorities.end(), priority) != kPriorities.end();
}

DWORD create_thread(SIZE_T stack_size, const ThreadStart& content, HANDLE& handle) noexcept {
  if (should_fail(FaultPoint::kThreadCreate)) return ERROR_NOT_ENOUGH_MEMORY;
  Ref<WaitSignal> ended(new (std::nothrow) WaitSignal(ObjectKind::kThread, true, false));
  if (!ended) return ERROR_NOT_ENOUGH_MEMORY;
  std::unique_ptr<ThreadStart> start(new (std::nothrow) ThreadStart{
      Ref<WaitSignal>::share(ended.get()), content.id, content.routine, content.argument});
  if (!start) return ERROR_NOT_ENOUGH_MEMORY;
  handle = open_handle(Ref<KernelObject>(ended.detach()));
  if (handle == nullptr) return ERROR_NO_SYSTEM_RESOURCES;
  if (start_pthread(stack_size, start.get()) != 0) {
    close_handle(handle);
    return ERROR_NOT_ENOUGH_MEMORY;
  }
  static_cast<void>(start.release());  // the thread owns it now
  return NO_ERROR;
}

}  // namespace

}  // namespace zdr::platform

using namespace zdr::platform;

HANDLE CreateThread(LPSECURITY_ATTRIBUTES, SIZE_T stack_size, LPTHREAD_START_ROUTINE routine, LPVOID argument,
                    DWORD flags, LPDWORD thread_id) noexcept {
  HANDLE handle = nullptr;
  const uint32_t id = new_thread_id();
  const bool valid = routine != nullptr && flags == 0;
  const DWORD error =
      valid ? create_thread(stack_size, {{}, id, routine, argument}, handle) : ERROR_INVALID_PARAMETER;
  if (!report(error)) return nullptr;
  if (thread_id != nullptr) *thread_id = id;
  return handle;
}

// The priority is not passed on: the system gives a process without privileges no way to raise one.
BOOL SetThreadPriority(HANDLE thread, int priority) noexcept {
  if (!is_priority(priority)) return report(ERROR_INVALID_PARAMETER);
  const Pin pin(thread);
  return report(pin.as<WaitSignal>(ObjectKind::kThread) != nullptr ? NO_ERROR : ERROR_INVALID_HANDLE);
}
