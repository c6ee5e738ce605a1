// What the runtime keeps for each thread. Reached in one instruction: the record lives in the static TLS
// block, needs no constructor and has no destructor (thread_exit.h runs what must run at a thread's end).
#pragma once

#include <cstdint>

#include "platform/win32/win32_types.h"

namespace zdr::platform {

class MutexObject;
class ThreadObject;

struct ThreadState {
  DWORD last_error;
  uint32_t thread_id;          // kernel thread id, 0 until asked for
  MutexObject* owned_mutexes;  // unnamed mutexes that this thread owns, latest first
  ThreadObject* thread;  // set on threads made by CreateThread; a reference is held until the thread's end
  int priority;          // of threads not made by CreateThread
  bool exit_hook_set;
};

#define ZDR_STATIC_TLS __attribute__((tls_model("initial-exec")))
extern thread_local constinit ThreadState this_thread ZDR_STATIC_TLS;

}  // namespace zdr::platform
