// What the runtime does when a thread ends, after the thread's own thread-local destructors: first it
// abandons the thread's mutexes, then it signals the thread's object.
#pragma once

#include "platform/win32/runtime/wait_signal.h"

namespace zdr::platform {

// For the calling thread. `abandon` runs on it when it ends.
void abandon_at_thread_exit(void (*abandon)() noexcept) noexcept;
void signal_at_thread_exit(Ref<WaitSignal> ended) noexcept;

}  // namespace zdr::platform
