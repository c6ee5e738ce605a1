// What the runtime keeps for each thread. Reached in one instruction: the record lives in the static TLS
// block, needs no constructor and has no destructor (thread_exit.h runs what must run at a thread's end).
#pragma once

#include <cstdint>

#include "platform/win32/win32_types.h"

namespace zdr::platform {

class OwnedMutex;
class ThreadObject;

struct ThreadState {
  DWORD last_error;
  uint32_t thread_id;         // 0 until asked for
  OwnedMutex* owned_mutexes;  // mutexes that this thread owns, latest first
  ThreadObject* thread;  // set on threads made by CreateThread; a reference is held until the thread's end
  int priority;          // of threads not made by CreateThread
  bool exit_hook_set;
};

#define ZDR_STATIC_TLS __attribute__((tls_model("initial-exec")))
extern thread_local constinit ThreadState this_thread ZDR_STATIC_TLS;

// A number no other living thread of the process has; below 2^31 and never 0.
uint32_t new_thread_id() noexcept;

inline uint32_t this_thread_id() noexcept {
  if (this_thread.thread_id == 0) this_thread.thread_id = new_thread_id();
  return this_thread.thread_id;
}

}  // namespace zdr::platform
