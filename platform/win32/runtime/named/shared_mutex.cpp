// Locking and releasing named mutexes.
#include "platform/win32/runtime/named/shared_mutex.h"

#include "platform/win32/runtime/named/robust_mutex.h"
#include "platform/win32/runtime/named/shared_signal.h"
#include "platform/win32/win32_error.h"
#include "platform/win32/win32_sync.h"

namespace zdr::platform {

namespace {

int lock_within(pthread_mutex_t& mutex, DWORD milliseconds) noexcept {
  if (milliseconds == 0) return pthread_mutex_trylock(&mutex);
  const Deadline deadline = Deadline::after(milliseconds);
  if (deadline.never()) return pthread_mutex_lock(&mutex);
  return pthread_mutex_clocklock(&mutex, CLOCK_MONOTONIC, deadline.when());
}

}  // namespace

// Only a creator whose handle could not be made still owns the mutex here; an owner's pin prevents all other
// cases. The kernel's list of this thread's locks must not reach into memory that goes away.
SharedMutex::~SharedMutex() {
  if (owner_.load(std::memory_order_relaxed) == this_thread_id()) unlock();
  forget_named(key_, this);
}

DWORD SharedMutex::wait(DWORD milliseconds) noexcept {
  const uint32_t thread = this_thread_id();
  if (owner_.load(std::memory_order_relaxed) == thread) {
    ++depth_;
    return WAIT_OBJECT_0;
  }
  const int result = lock_within(page().guard, milliseconds);
  if (result == EBUSY || result == ETIMEDOUT) return WAIT_TIMEOUT;
  if (!is_locked(page().guard, result)) {
    SetLastError(ERROR_GEN_FAILURE);  // a page that was damaged from outside
    return WAIT_FAILED;
  }
  owner_.store(thread, std::memory_order_relaxed);
  depth_ = 1;
  const bool abandoned = std::exchange(page().abandoned, 0u) != 0;
  return abandoned || result == EOWNERDEAD ? WAIT_ABANDONED : WAIT_OBJECT_0;
}

bool SharedMutex::release_one() noexcept {
  if (depth_ > 1) {
    --depth_;
    return false;
  }
  return true;
}

void SharedMutex::unlock() noexcept {
  put_back(false);
  send_pulse(page());
}

void SharedMutex::abandon() noexcept {
  put_back(true);
  send_pulse(page());
}

void SharedMutex::put_back(bool abandoned) noexcept {
  if (abandoned) page().abandoned = 1;
  depth_ = 0;
  owner_.store(0, std::memory_order_relaxed);
  pthread_mutex_unlock(&page().guard);
}

}  // namespace zdr::platform
