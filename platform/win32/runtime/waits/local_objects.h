// Waitable objects that live in this process alone, and the dispatcher that pairs them with waiting threads.
//
// One dispatcher lock guards every state change that a waiter could see, so that a signal is handed to
// exactly one waiter and a wait for all objects takes all or none. Signals are handed over, not announced:
// whoever sets an event decides under the lock whose it is. In front of the lock stand fast paths: an
// uncontended mutex is one compare-and-swap, a poll of an unset event one load.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <span>

#include "platform/win32/runtime/futex.h"
#include "platform/win32/runtime/handle_table.h"
#include "platform/win32/runtime/kernel_object.h"
#include "platform/win32/runtime/waits/owned_mutex.h"

namespace zdr::platform {

class LocalObject;

extern std::mutex dispatcher_lock;

// One thread inside one wait call. Lives on that thread's stack.
struct Waiter {
  // Values of `outcome`, the word that the thread sleeps on.
  static constexpr uint32_t kPending = 0;
  static constexpr uint32_t kRetry = 1;  // look again: nothing was handed over
  static constexpr uint32_t kDone = 2;   // `result` holds; the nodes are out of their queues

  enum class Mode : uint8_t {
    kAny,   // served by one object
    kAll,   // served by all objects together
    kPoke,  // takes part in a wait that shared objects belong to: only told to look again
  };

  FutexWord outcome{kPending};
  uint32_t thread = 0;
  Mode mode = Mode::kAny;
  bool impatient = false;  // lost a mutex to a passing thread before: now gets it handed over
  DWORD result = 0;
  std::span<struct WaitNode> nodes;
};

// The waiter's place in the queue of one object.
struct WaitNode {
  WaitNode* previous = nullptr;
  WaitNode* next = nullptr;
  Waiter* waiter = nullptr;
  LocalObject* object = nullptr;
  DWORD index = 0;
};

// First come, first served.
struct WaitQueue {
  WaitNode* first = nullptr;
  WaitNode* last = nullptr;

  void append(WaitNode& node) noexcept;
  void remove(WaitNode& node) noexcept;
  bool empty() const noexcept { return first == nullptr; }
};

// What every waitable local object answers. All members need the dispatcher lock.
class LocalObject {
 public:
  virtual bool ready_for(uint32_t thread) const noexcept = 0;
  // Takes what a successful wait takes, for `thread`; only when ready. True for an abandoned mutex.
  virtual bool consume(uint32_t thread) noexcept = 0;
  // A released mutex is left free for whoever comes first, unless its first waiter has lost it that way
  // before.
  virtual bool lets_others_pass() const noexcept { return false; }
  // Called when the queue gets its first node or loses its last one.
  virtual void queue_changed() noexcept {}

  WaitQueue queue;

 protected:
  ~LocalObject() = default;
};

// Serves as many waiters of `object` as its state allows. Needs the lock; called after each state change.
void dispatch(LocalObject& object) noexcept;

// Puts the waiter's nodes into their queues, and out again. Need the lock.
void enqueue(Waiter& waiter) noexcept;
void dequeue(Waiter& waiter) noexcept;

// Serves the waiter at once if it can be, without touching the queues. Needs the lock, and the nodes
// enqueued.
bool try_serve(Waiter& waiter) noexcept;

// Blocks until the waiter is served or the deadline passes. Zero only looks.
DWORD wait_for_local(Waiter& waiter, DWORD milliseconds) noexcept;

class EventObject final : public KernelObject, public LocalObject {
 public:
  static constexpr ObjectKind kKind = ObjectKind::kEvent;
  EventObject(bool manual_reset, bool set) noexcept
      : KernelObject(kKind), manual_reset_(manual_reset), set_(set) {}

  void set() noexcept;
  void reset() noexcept;

  // Without the lock: what a wait can know from one load.
  bool is_set() const noexcept { return set_.load(std::memory_order_acquire); }
  bool manual_reset() const noexcept { return manual_reset_; }

  bool ready_for(uint32_t) const noexcept override { return set_.load(std::memory_order_relaxed); }
  bool consume(uint32_t) noexcept override;

 private:
  const bool manual_reset_;
  std::atomic<bool> set_;
};

class SemaphoreObject final : public KernelObject, public LocalObject {
 public:
  static constexpr ObjectKind kKind = ObjectKind::kSemaphore;
  SemaphoreObject(LONG initial, LONG maximum) noexcept
      : KernelObject(kKind), count_(initial), maximum_(maximum) {}

  // NO_ERROR or ERROR_TOO_MANY_POSTS.
  DWORD add(LONG count, LONG& previous) noexcept;

  bool ready_for(uint32_t) const noexcept override { return count_ > 0; }
  bool consume(uint32_t) noexcept override;

 private:
  LONG count_;
  const LONG maximum_;
};

// Recursive. The word holds the owner's thread id, and a mark while threads queue: with the mark set, every
// change goes through the dispatcher lock; without it, lock and unlock are one compare-and-swap.
class MutexObject final : public OwnedMutex, public LocalObject {
 public:
  static constexpr ObjectKind kKind = ObjectKind::kMutex;
  MutexObject() noexcept : OwnedMutex(kKind) {}

  // Without the lock. When true the caller owns the mutex now, for the first time when `depth` is 1.
  bool try_lock_fast(uint32_t thread) noexcept {
    uint32_t owner = 0;
    if (word_.compare_exchange_strong(owner, thread, std::memory_order_acquire, std::memory_order_relaxed)) {
      depth_ = 1;
      return true;
    }
    if ((owner & ~kQueued) != thread) return false;
    ++depth_;
    return true;
  }
  bool take_abandoned_mark() noexcept { return std::exchange(abandoned_, false); }
  uint32_t depth() const noexcept { return depth_; }

  // OwnedMutex. Only the owner calls these.
  bool release_one() noexcept override {
    if (depth_ > 1) {
      --depth_;
      return false;
    }
    return true;
  }
  void unlock() noexcept override {
    uint32_t owner = word_.load(std::memory_order_relaxed);
    depth_ = 0;
    if ((owner & kQueued) != 0 ||
        !word_.compare_exchange_strong(owner, 0, std::memory_order_release, std::memory_order_relaxed)) {
      unlock_with_queue();
    }
  }
  void abandon() noexcept override;

  bool ready_for(uint32_t thread) const noexcept override;
  bool consume(uint32_t thread) noexcept override;
  bool lets_others_pass() const noexcept override { return true; }
  void queue_changed() noexcept override;

 private:
  static constexpr uint32_t kQueued = 1u << 31;

  void unlock_with_queue() noexcept;

  std::atomic<uint32_t> word_{0};
  uint32_t depth_ = 0;      // guarded by ownership
  bool abandoned_ = false;  // guarded by ownership
};

class ThreadObject final : public KernelObject, public LocalObject {
 public:
  static constexpr ObjectKind kKind = ObjectKind::kThread;
  explicit ThreadObject(bool suspended) noexcept : KernelObject(kKind), suspended_(suspended ? 1 : 0) {}

  // On the thread itself, as the last thing it does.
  void finish() noexcept;
  bool finished() const noexcept { return finished_.load(std::memory_order_acquire); }

  void wait_until_resumed() noexcept;
  DWORD resume() noexcept;  // previous suspend count

  std::atomic<DWORD> exit_code{0};
  std::atomic<int> priority{0};

  bool ready_for(uint32_t) const noexcept override { return finished(); }
  bool consume(uint32_t) noexcept override { return false; }

 private:
  FutexWord suspended_;
  std::atomic<bool> finished_{false};
};

}  // namespace zdr::platform
