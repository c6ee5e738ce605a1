// Owning and scoped locking of a mutex of the OS layer, for the tree's C++ code.
#pragma once

#include <memory>

#include "os/os.h"

namespace zdr::os {

struct MutexDestroyer {
  void operator()(void* mutex) const noexcept { OS_MutexDestroy(mutex); }
};
using OwnedMutex = std::unique_ptr<void, MutexDestroyer>;

// Holds a mutex until the end of its scope. Callers check status() before they touch what the mutex guards.
class MutexLock {
 public:
  explicit MutexLock(void* mutex) noexcept : mutex_(mutex), status_(OS_MutexLock(mutex)) {}
  ~MutexLock() {
    if (status_ == FMGR_OK) OS_MutexUnlock(mutex_);
  }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

  // FMGR_OK, or the reason why the mutex is not held.
  int32_t status() const noexcept { return status_; }

 private:
  void* mutex_;
  int32_t status_;
};

}  // namespace zdr::os
