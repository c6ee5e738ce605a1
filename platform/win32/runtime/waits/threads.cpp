// CreateThread and what is asked of threads.
#include <pthread.h>
#include <sched.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <memory>
#include <new>

#include "platform/win32/fault_injection.h"
#include "platform/win32/runtime/api_boundary.h"
#include "platform/win32/runtime/thread_state.h"
#include "platform/win32/runtime/waits/local_objects.h"
#include "platform/win32/runtime/waits/thread_exit.h"
#include "platform/win32/win32_threads.h"

namespace zdr::platform {

namespace {

// Handed from the creator to the new thread.
struct ThreadStart {
  Ref<ThreadObject> thread;
  uint32_t id;
  LPTHREAD_START_ROUTINE routine;
  LPVOID argument;
};

void* run_thread(void* start_pointer) noexcept {
  ThreadObject* thread;
  LPTHREAD_START_ROUTINE routine;
  LPVOID argument;
  {
    const std::unique_ptr<ThreadStart> start(static_cast<ThreadStart*>(start_pointer));
    routine = start->routine;
    argument = start->argument;
    this_thread.thread_id = start->id;
    thread = this_thread.thread = start->thread.detach();
  }
  set_thread_exit_hook();
  thread->wait_until_resumed();
  thread->exit_code.store(routine(argument), std::memory_order_relaxed);
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

bool is_current_thread(HANDLE handle) noexcept {
  return handle == GetCurrentThread();
}

// The thread's priority for reading and writing; null for a bad handle.
template <class Action>
bool with_priority(HANDLE handle, Action action) noexcept {
  if (is_current_thread(handle) && this_thread.thread == nullptr) {
    action(this_thread.priority);
    return true;
  }
  const Pin pin(handle);
  ThreadObject* thread = is_current_thread(handle) ? this_thread.thread : pin.as<ThreadObject>();
  if (thread == nullptr) return false;
  action(thread->priority);
  return true;
}

bool is_priority(int priority) noexcept {
  constexpr std::array kPriorities = {THREAD_PRIORITY_IDLE,         THREAD_PRIORITY_LOWEST,
                                      THREAD_PRIORITY_BELOW_NORMAL, THREAD_PRIORITY_NORMAL,
                                      THREAD_PRIORITY_ABOVE_NORMAL, THREAD_PRIORITY_HIGHEST,
                                      THREAD_PRIORITY_TIME_CRITICAL};
  return std::find(kPriorities.begin(), kPriorities.end(), priority) != kPriorities.end();
}

DWORD create_thread(SIZE_T stack_size, LPTHREAD_START_ROUTINE routine, LPVOID argument, DWORD flags,
                    uint32_t id, HANDLE& handle) noexcept {
  if (routine == nullptr) return ERROR_INVALID_PARAMETER;
  if ((flags & ~(CREATE_SUSPENDED | STACK_SIZE_PARAM_IS_A_RESERVATION)) != 0) return ERROR_INVALID_PARAMETER;
  if (should_fail(FaultPoint::kThreadCreate)) return ERROR_NOT_ENOUGH_MEMORY;

  Ref<ThreadObject> thread(new (std::nothrow) ThreadObject((flags & CREATE_SUSPENDED) != 0));
  if (!thread) return ERROR_NOT_ENOUGH_MEMORY;
  std::unique_ptr<ThreadStart> start(new (std::nothrow) ThreadStart{{}, id, routine, argument});
  if (start == nullptr) return ERROR_NOT_ENOUGH_MEMORY;
  start->thread = Ref<ThreadObject>::share(thread.get());
  handle = open_handle(Ref<KernelObject>(thread.detach()));
  if (handle == nullptr) return ERROR_NO_SYSTEM_RESOURCES;
  if (start_pthread(stack_size, start.get()) != 0) {
    close_handle(handle);
    return ERROR_NOT_ENOUGH_MEMORY;
  }
  static_cast<void>(start.release());  // the thread has it now
  return NO_ERROR;
}

}  // namespace

}  // namespace zdr::platform

using namespace zdr::platform;

HANDLE CreateThread(LPSECURITY_ATTRIBUTES, SIZE_T stack_size, LPTHREAD_START_ROUTINE routine, LPVOID argument,
                    DWORD flags, LPDWORD thread_id) noexcept {
  const uint32_t id = new_thread_id();
  HANDLE handle = nullptr;
  if (!report(create_thread(stack_size, routine, argument, flags, id, handle))) return nullptr;
  if (thread_id != nullptr) *thread_id = id;
  return handle;
}

DWORD ResumeThread(HANDLE thread) noexcept {
  const Pin pin(thread);
  auto* object = pin.as<ThreadObject>();
  if (object != nullptr) return object->resume();
  SetLastError(ERROR_INVALID_HANDLE);
  return 0xFFFFFFFFu;
}

BOOL GetExitCodeThread(HANDLE thread, LPDWORD code) noexcept {
  if (code == nullptr) return report(ERROR_INVALID_PARAMETER);
  if (is_current_thread(thread)) {
    *code = STILL_ACTIVE;
    return TRUE;
  }
  const Pin pin(thread);
  auto* object = pin.as<ThreadObject>();
  if (object == nullptr) return report(ERROR_INVALID_HANDLE);
  *code = object->finished() ? object->exit_code.load(std::memory_order_relaxed) : STILL_ACTIVE;
  return TRUE;
}

BOOL SetThreadPriority(HANDLE thread, int priority) noexcept {
  if (!is_priority(priority)) return report(ERROR_INVALID_PARAMETER);
  const bool found = with_priority(thread, [&](auto& kept) { kept = priority; });
  return report(found ? NO_ERROR : ERROR_INVALID_HANDLE);
}

int GetThreadPriority(HANDLE thread) noexcept {
  int priority = THREAD_PRIORITY_ERROR_RETURN;
  const bool found = with_priority(thread, [&](auto& kept) { priority = kept; });
  report(found ? NO_ERROR : ERROR_INVALID_HANDLE);
  return priority;
}

HANDLE GetCurrentThread(void) noexcept {
  return reinterpret_cast<HANDLE>(intptr_t{-2});
}

HANDLE GetCurrentProcess(void) noexcept {
  return reinterpret_cast<HANDLE>(intptr_t{-1});
}

DWORD GetCurrentThreadId(void) noexcept {
  return this_thread_id();
}

DWORD GetCurrentProcessId(void) noexcept {
  return static_cast<DWORD>(getpid());
}
