// The dispatcher: queues, hand-over, and blocking waits on local objects.
#include "platform/win32/runtime/waits/local_objects.h"
#include "platform/win32/win32_sync.h"

namespace zdr::platform {

constinit std::mutex dispatcher_lock;

namespace {

void wake(Waiter& waiter, uint32_t outcome) noexcept {
  waiter.outcome.store(outcome, std::memory_order_release);
  // The waiter may be gone by now; waking an address that nobody sleeps on is harmless.
  futex_wake(waiter.outcome, 1, FutexScope::kProcess);
}

bool all_ready(const Waiter& waiter) noexcept {
  for (const WaitNode& node : waiter.nodes) {
    if (!node.object->ready_for(waiter.thread)) return false;
  }
  return true;
}

void serve_all(Waiter& waiter) noexcept {
  bool abandoned = false;
  for (const WaitNode& node : waiter.nodes) abandoned |= node.object->consume(waiter.thread);
  waiter.result = abandoned ? WAIT_ABANDONED_0 : WAIT_OBJECT_0;
}

void serve_one(Waiter& waiter, const WaitNode& node) noexcept {
  const bool abandoned = node.object->consume(waiter.thread);
  waiter.result = (abandoned ? WAIT_ABANDONED_0 : WAIT_OBJECT_0) + node.index;
}

enum class Offer { kRefused, kTaken, kLeftOpen };

// Offers the ready object to the waiter behind `node`.
Offer offer(LocalObject& object, WaitNode& node) noexcept {
  Waiter& waiter = *node.waiter;
  if (waiter.mode == Waiter::Mode::kPoke) {
    wake(waiter, Waiter::kRetry);
    return Offer::kRefused;
  }
  if (!object.ready_for(waiter.thread)) return Offer::kRefused;
  if (waiter.mode == Waiter::Mode::kAll) {
    if (!all_ready(waiter)) return Offer::kRefused;
    serve_all(waiter);
  } else if (object.lets_others_pass() && !waiter.impatient && waiter.nodes.size() == 1) {
    wake(waiter, Waiter::kRetry);
    return Offer::kLeftOpen;
  } else {
    serve_one(waiter, node);
  }
  dequeue(waiter);
  wake(waiter, Waiter::kDone);
  return Offer::kTaken;
}

// After a wake-up without a hand-over, or a time-out: the last look before sleeping on or giving up.
bool look_again(Waiter& waiter) noexcept {
  std::lock_guard lock(dispatcher_lock);
  const uint32_t outcome = waiter.outcome.load(std::memory_order_relaxed);
  if (outcome == Waiter::kDone) return true;
  if (outcome == Waiter::kRetry) {
    waiter.outcome.store(Waiter::kPending, std::memory_order_relaxed);
    waiter.impatient = true;
  }
  if (!try_serve(waiter)) return false;
  dequeue(waiter);
  return true;
}

DWORD give_up(Waiter& waiter) noexcept {
  std::lock_guard lock(dispatcher_lock);
  if (waiter.outcome.load(std::memory_order_relaxed) == Waiter::kDone) return waiter.result;
  const bool was_offered = waiter.outcome.load(std::memory_order_relaxed) == Waiter::kRetry;
  dequeue(waiter);
  // The object that was left open for this waiter must not be missed by the next one in the queue.
  if (was_offered) {
    for (const WaitNode& node : waiter.nodes) dispatch(*node.object);
  }
  return WAIT_TIMEOUT;
}

}  // namespace

void WaitQueue::append(WaitNode& node) noexcept {
  node.previous = last;
  node.next = nullptr;
  (last == nullptr ? first : last->next) = &node;
  last = &node;
}

void WaitQueue::remove(WaitNode& node) noexcept {
  (node.previous == nullptr ? first : node.previous->next) = node.next;
  (node.next == nullptr ? last : node.next->previous) = node.previous;
}

void enqueue(Waiter& waiter) noexcept {
  for (WaitNode& node : waiter.nodes) {
    const bool was_empty = node.object->queue.empty();
    node.object->queue.append(node);
    if (was_empty) node.object->queue_changed();
  }
}

void dequeue(Waiter& waiter) noexcept {
  for (WaitNode& node : waiter.nodes) {
    node.object->queue.remove(node);
    if (node.object->queue.empty()) node.object->queue_changed();
  }
}

bool try_serve(Waiter& waiter) noexcept {
  if (waiter.mode == Waiter::Mode::kAll) {
    if (!all_ready(waiter)) return false;
    serve_all(waiter);
    return true;
  }
  for (const WaitNode& node : waiter.nodes) {
    if (!node.object->ready_for(waiter.thread)) continue;
    serve_one(waiter, node);
    return true;
  }
  return false;
}

void dispatch(LocalObject& object) noexcept {
  WaitNode* node = object.queue.first;
  while (node != nullptr) {
    const Offer offered = offer(object, *node);
    if (offered == Offer::kLeftOpen) return;
    // A served waiter took its nodes out of the queue, perhaps several: start over from the head.
    node = offered == Offer::kTaken ? object.queue.first : node->next;
  }
}

DWORD wait_for_local(Waiter& waiter, DWORD milliseconds) noexcept {
  {
    std::lock_guard lock(dispatcher_lock);
    // Queue first: only a mutex with a queue keeps still under the lock.
    enqueue(waiter);
    const bool served = try_serve(waiter);
    if (served || milliseconds == 0) {
      dequeue(waiter);
      return served ? waiter.result : WAIT_TIMEOUT;
    }
  }
  const Deadline deadline = Deadline::after(milliseconds);
  for (;;) {
    const bool in_time = futex_wait(waiter.outcome, Waiter::kPending, deadline, FutexScope::kProcess);
    const uint32_t outcome = waiter.outcome.load(std::memory_order_acquire);
    if (outcome == Waiter::kDone || (outcome == Waiter::kRetry && look_again(waiter))) return waiter.result;
    if (!in_time) return give_up(waiter);
  }
}

}  // namespace zdr::platform
