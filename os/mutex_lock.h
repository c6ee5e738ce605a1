// Holds a mutex of the OS layer for the length of a scope; for the C++ code of this layer and the file
// manager.
#ifndef ZDR_OS_MUTEX_LOCK_H
#define ZDR_OS_MUTEX_LOCK_H

#include <memory>

#include "os/os.h"

namespace zdr::os {

struct MutexDestroyer {
  void operator()(void* mutex) const noexcept { OS_MutexDestroy(mutex); }
};
using OwnedMutex = std::unique_ptr<void, MutexDestroyer>;

// Holds a mutex for the length of a scope.
class MutexLock {
 public:
  explicit MutexLock(void* mutex) noexcept : mutex_(mutex), status_(OS_MutexLock(mutex)) {}
  ~MutexLock() {
    if (status_ == FMGR_OK) OS_MutexUnlock(mutex_);
  }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

  // 0, or why the mutex is not held.
  int32_t status() const noexcept { return status_; }

 private:
  void* mutex_;
  int32_t status_;
};

}  // namespace zdr::os

#endif
