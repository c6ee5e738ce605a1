// A mutex in shared memory that survives the death of its owner: the kernel marks it, and the next owner is
// told.
#pragma once

#include <pthread.h>

#include <cerrno>

namespace zdr::platform {

// Prepares a mutex in fresh shared memory. False when the system refuses.
bool make_robust_mutex(pthread_mutex_t& mutex) noexcept;

// Whether `result` of a lock call means that the caller owns the mutex now; a dead owner's mutex is repaired.
inline bool is_locked(pthread_mutex_t& mutex, int result) noexcept {
  if (result == EOWNERDEAD) pthread_mutex_consistent(&mutex);
  return result == 0 || result == EOWNERDEAD;
}

// Holds the mutex for a scope. What it guards must be consistent after every single store, because the
// previous owner may have died anywhere; a mutex that was damaged from outside thus guards no worse.
class RobustLock {
 public:
  explicit RobustLock(pthread_mutex_t& mutex) noexcept
      : mutex_(mutex), locked_(is_locked(mutex_, pthread_mutex_lock(&mutex_))) {}
  ~RobustLock() {
    if (locked_) pthread_mutex_unlock(&mutex_);
  }
  RobustLock(const RobustLock&) = delete;
  RobustLock& operator=(const RobustLock&) = delete;

 private:
  pthread_mutex_t& mutex_;
  const bool locked_;
};

}  // namespace zdr::platform
