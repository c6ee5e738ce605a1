// What the runtime does at a thread's end, after the thread's own thread-local destructors.
#pragma once

namespace zdr::platform {

// Makes sure the hook runs for the calling thread: abandons its mutexes, then signals its thread object.
void set_thread_exit_hook() noexcept;

}  // namespace zdr::platform
