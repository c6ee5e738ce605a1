// The thread-exit hook. It hangs on a POSIX thread key, because those run after the C++ thread-local
// destructors: a module may be unloaded once its thread is signalled, so none of the module's code may run
// after that.
#include "platform/win32/runtime/waits/thread_exit.h"

#include <pthread.h>

#include "platform/win32/runtime/thread_state.h"
#include "platform/win32/runtime/waits/local_objects.h"
#include "platform/win32/runtime/waits/owned_mutex.h"

namespace zdr::platform {

namespace {

void at_thread_exit(void*) noexcept {
  this_thread.exit_hook_set = false;
  abandon_owned_mutexes();
  if (Ref<ThreadObject> thread{std::exchange(this_thread.thread, nullptr)}) thread->finish();
}

pthread_key_t make_key() noexcept {
  pthread_key_t key = 0;
  pthread_key_create(&key, at_thread_exit);
  return key;
}

}  // namespace

void set_thread_exit_hook() noexcept {
  static const pthread_key_t key = make_key();
  pthread_setspecific(key, &this_thread);
  this_thread.exit_hook_set = true;
}

}  // namespace zdr::platform
