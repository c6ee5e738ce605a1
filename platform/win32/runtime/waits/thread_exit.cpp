// The thread-exit hook. It uses a POSIX thread key, because those run after the C++ thread-local destructors:
// a module may be unloaded once its thread is signalled, so none of the module's code may run after that.
#include "platform/win32/runtime/waits/thread_exit.h"

#include <pthread.h>

#include <utility>

#include "platform/win32/runtime/thread_state.h"

namespace zdr::platform {

namespace {

void at_thread_exit(void*) noexcept {
  const auto abandon = std::exchange(this_thread.abandon_mutexes, nullptr);
  if (abandon != nullptr) abandon();
  if (Ref<WaitSignal> ended{std::exchange(this_thread.ended, nullptr)}) ended->set();
}

pthread_key_t make_key() noexcept {
  pthread_key_t key = 0;
  pthread_key_create(&key, at_thread_exit);
  return key;
}

void set_hook() noexcept {
  static const pthread_key_t key = make_key();
  pthread_setspecific(key, &this_thread);
}

}  // namespace

void abandon_at_thread_exit(void (*abandon)() noexcept) noexcept {
  this_thread.abandon_mutexes = abandon;
  set_hook();
}

void signal_at_thread_exit(Ref<WaitSignal> ended) noexcept {
  this_thread.ended = ended.detach();
  set_hook();
}

}  // namespace zdr::platform
