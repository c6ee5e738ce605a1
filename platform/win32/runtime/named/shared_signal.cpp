// Waiting for and signalling named events and semaphores.
#include "platform/win32/runtime/named/shared_signal.h"

#include "platform/win32/runtime/named/robust_mutex.h"
#include "platform/win32/win32_sync.h"

namespace zdr::platform {

namespace {

// Under the guard: whether the place belongs to a living waiter; a dead one's place is freed.
bool is_alive(SharedWaiter& place) noexcept {
  const int result = pthread_mutex_trylock(&place.life);
  if (!is_locked(place.life, result)) return true;
  place.state.store(SharedWaiter::kFree, std::memory_order_relaxed);
  pthread_mutex_unlock(&place.life);
  return false;
}

// Under the guard.
void leave_place(SharedWaiter& place) noexcept {
  place.state.store(SharedWaiter::kFree, std::memory_order_relaxed);
  pthread_mutex_unlock(&place.life);
}

}  // namespace

void send_pulse(SharedPage& page) noexcept {
  page.pulse.fetch_add(1, std::memory_order_seq_cst);
  if (page.pulse_watchers.load(std::memory_order_seq_cst) != 0) {
    futex_wake_all(page.pulse, FutexScope::kShared);
  }
}

void SharedSignal::set() noexcept {
  {
    const RobustLock lock(page().guard);
    page().count.store(1, std::memory_order_release);
    grant_to_waiters();
  }
  send_pulse(page());
}

void SharedSignal::reset() noexcept {
  const RobustLock lock(page().guard);
  page().count.store(0, std::memory_order_relaxed);
}

DWORD SharedSignal::add(LONG count, LONG& previous) noexcept {
  {
    const RobustLock lock(page().guard);
    previous = page().count.load(std::memory_order_relaxed);
    if (count > page().maximum - previous) return ERROR_TOO_MANY_POSTS;
    page().count.store(previous + count, std::memory_order_release);
    grant_to_waiters();
  }
  send_pulse(page());
  return NO_ERROR;
}

void SharedSignal::consume() noexcept {
  if (!is_manual_event()) page().count.fetch_sub(1, std::memory_order_relaxed);
}

bool SharedSignal::try_consume() noexcept {
  const RobustLock lock(page().guard);
  if (!ready()) return false;
  consume();
  return true;
}

DWORD SharedSignal::wait(DWORD milliseconds) noexcept {
  if (is_manual_event() && page().count.load(std::memory_order_acquire) != 0) return WAIT_OBJECT_0;
  const Deadline deadline = Deadline::after(milliseconds);
  SharedWaiter* place = nullptr;
  {
    const RobustLock lock(page().guard);
    if (ready()) {
      consume();
      return WAIT_OBJECT_0;
    }
    if (milliseconds == 0) return WAIT_TIMEOUT;
    place = take_place();
  }
  return place != nullptr ? wait_in_place(*place, deadline) : wait_for_pulse(deadline);
}

// Under the guard. Null when all places are taken by the living.
SharedWaiter* SharedSignal::take_place() noexcept {
  for (SharedWaiter& place : page().waiters) {
    if (place.state.load(std::memory_order_relaxed) != SharedWaiter::kFree && is_alive(place)) continue;
    if (!is_locked(place.life, pthread_mutex_trylock(&place.life))) continue;
    place.ticket = page().next_ticket++;
    place.state.store(SharedWaiter::kWaiting, std::memory_order_relaxed);
    return &place;
  }
  return nullptr;
}

// Under the guard. The living waiter that came first, or null.
SharedWaiter* SharedSignal::next_in_line() noexcept {
  for (;;) {
    SharedWaiter* first = nullptr;
    for (SharedWaiter& place : page().waiters) {
      if (place.state.load(std::memory_order_relaxed) != SharedWaiter::kWaiting) continue;
      if (first == nullptr || place.ticket < first->ticket) first = &place;
    }
    if (first == nullptr || is_alive(*first)) return first;
  }
}

// Under the guard. The signal is taken before it is granted: a process that dies in between loses one signal,
// it never doubles one.
void SharedSignal::grant_to_waiters() noexcept {
  while (ready()) {
    SharedWaiter* place = next_in_line();
    if (place == nullptr) return;
    consume();
    place->state.store(SharedWaiter::kGranted, std::memory_order_release);
    futex_wake(place->state, 1, FutexScope::kShared);
  }
}

DWORD SharedSignal::wait_in_place(SharedWaiter& place, const Deadline& deadline) noexcept {
  for (;;) {
    futex_wait(place.state, SharedWaiter::kWaiting, deadline.earlier_of(kSharedSleepMilliseconds),
               FutexScope::kShared);
    const RobustLock lock(page().guard);
    bool served = place.state.load(std::memory_order_acquire) == SharedWaiter::kGranted;
    // Left set by a process that died before it could grant it.
    if (!served && ready()) {
      consume();
      served = true;
    }
    if (!served && !deadline.passed()) continue;
    leave_place(place);
    return served ? WAIT_OBJECT_0 : WAIT_TIMEOUT;
  }
}

// More waiters than places: each change is announced to all, and the first to look takes it.
DWORD SharedSignal::wait_for_pulse(const Deadline& deadline) noexcept {
  page().pulse_watchers.fetch_add(1, std::memory_order_seq_cst);
  DWORD result = WAIT_TIMEOUT;
  for (;;) {
    const uint32_t seen = page().pulse.load(std::memory_order_seq_cst);
    if (try_consume()) {
      result = WAIT_OBJECT_0;
      break;
    }
    if (deadline.passed()) break;
    futex_wait(page().pulse, seen, deadline.earlier_of(kSharedSleepMilliseconds), FutexScope::kShared);
  }
  page().pulse_watchers.fetch_sub(1, std::memory_order_relaxed);
  return result;
}

}  // namespace zdr::platform
