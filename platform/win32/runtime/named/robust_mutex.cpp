// Making robust, process-shared mutexes.
#include "platform/win32/runtime/named/robust_mutex.h"

namespace zdr::platform {

bool make_robust_mutex(pthread_mutex_t& mutex) noexcept {
  pthread_mutexattr_t attributes;
  if (pthread_mutexattr_init(&attributes) != 0) return false;
  const bool made = pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED) == 0 &&
                    pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST) == 0 &&
                    pthread_mutex_init(&mutex, &attributes) == 0;
  pthread_mutexattr_destroy(&attributes);
  return made;
}

}  // namespace zdr::platform
