// What the runtime stores for each thread. The record lives in the static TLS block, so that it is reached in
// one instruction; it needs no constructor and has no destructor (thread_exit.h runs what must run when a
// thread ends).
#pragma once

#include <cstdint>

#include "platform/win32/win32_types.h"

namespace zdr::platform {

class MutexObject;
class WaitSignal;

struct ThreadState {
  DWORD last_error;
  uint32_t thread_id;                  // 0 until this_thread_id is called
  MutexObject* owned_mutexes;          // those that this thread owns, latest first
  void (*abandon_mutexes)() noexcept;  // to be called when the thread ends; null until it owns a mutex
  WaitSignal* ended;  // to be signalled when the thread ends: a reference, null for a foreign thread
};

#define ZDR_STATIC_TLS __attribute__((tls_model("initial-exec")))
extern thread_local constinit ThreadState this_thread ZDR_STATIC_TLS;

constexpr uint32_t kLargestThreadId = (1u << 31) - 1;

// A number from 1 to kLargestThreadId that no other living thread of the process has.
uint32_t new_thread_id() noexcept;

inline uint32_t this_thread_id() noexcept {
  if (this_thread.thread_id == 0) this_thread.thread_id = new_thread_id();
  return this_thread.thread_id;
}

}  // namespace zdr::platform
