// Events, semaphores, mutexes and threads of one process: their state changes.
#include "platform/win32/runtime/waits/local_objects.h"

namespace zdr::platform {

void EventObject::set() noexcept {
  std::lock_guard lock(dispatcher_lock);
  set_.store(true, std::memory_order_release);
  dispatch(*this);
}

void EventObject::reset() noexcept {
  std::lock_guard lock(dispatcher_lock);
  set_.store(false, std::memory_order_relaxed);
}

bool EventObject::consume(uint32_t) noexcept {
  if (!manual_reset_) set_.store(false, std::memory_order_relaxed);
  return false;
}

DWORD SemaphoreObject::add(LONG count, LONG& previous) noexcept {
  std::lock_guard lock(dispatcher_lock);
  previous = count_;
  if (count > maximum_ - count_) return ERROR_TOO_MANY_POSTS;
  count_ += count;
  dispatch(*this);
  return NO_ERROR;
}

bool SemaphoreObject::consume(uint32_t) noexcept {
  --count_;
  return false;
}

bool MutexObject::ready_for(uint32_t thread) const noexcept {
  const uint32_t owner = word_.load(std::memory_order_acquire) & ~kQueued;
  return owner == 0 || owner == thread;
}

bool MutexObject::consume(uint32_t thread) noexcept {
  if ((word_.load(std::memory_order_relaxed) & ~kQueued) == thread) {
    ++depth_;
    return false;
  }
  // The queue mark is set, so nobody else changes the word now.
  word_.store(thread | kQueued, std::memory_order_relaxed);
  depth_ = 1;
  return take_abandoned_mark();
}

void MutexObject::queue_changed() noexcept {
  if (queue.empty()) {
    word_.fetch_and(~kQueued, std::memory_order_acq_rel);
  } else {
    word_.fetch_or(kQueued, std::memory_order_acq_rel);
  }
}

void MutexObject::unlock_with_queue() noexcept {
  std::lock_guard lock(dispatcher_lock);
  word_.fetch_and(kQueued, std::memory_order_release);
  dispatch(*this);
}

void MutexObject::abandon() noexcept {
  abandoned_ = true;
  unlock();
}

void ThreadObject::finish() noexcept {
  std::lock_guard lock(dispatcher_lock);
  finished_.store(true, std::memory_order_release);
  dispatch(*this);
}

void ThreadObject::wait_until_resumed() noexcept {
  while (suspended_.load(std::memory_order_acquire) != 0) {
    futex_wait(suspended_, 1, Deadline::after(INFINITE), FutexScope::kProcess);
  }
}

DWORD ThreadObject::resume() noexcept {
  const DWORD previous = suspended_.exchange(0, std::memory_order_acq_rel);
  if (previous != 0) futex_wake_all(suspended_, FutexScope::kProcess);
  return previous;
}

}  // namespace zdr::platform
