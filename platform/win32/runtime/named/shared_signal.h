// Named events and semaphores.
//
// The count in the shared page is the state (an event's is 0 or 1). A thread that must wait takes one of the
// page's waiter places and sleeps on its word; whoever signals grants the signal to the place that came
// first, so each signal goes to exactly one waiter of whatever process. A process may be killed at any point:
// its locks are robust, its places are known as dead, and each sleep is bounded, so that a wake-up that died
// with its sender is made good.
#pragma once

#include <string>

#include "platform/win32/runtime/named/named_objects.h"

namespace zdr::platform {

class SharedSignal final : public KernelObject {
 public:
  static constexpr ObjectKind kKind = ObjectKind::kSharedSignal;
  SharedSignal(SharedState state, std::string key)
      : KernelObject(kKind), state_(std::move(state)), key_(std::move(key)) {}
  ~SharedSignal() override { forget_named(key_, this); }

  SharedState& state() noexcept { return state_; }
  SharedPage& page() const noexcept { return state_.page(); }
  const std::string& key() const noexcept { return key_; }
  SharedKind shared_kind() const noexcept { return page().kind; }

  void set() noexcept;
  void reset() noexcept;
  // NO_ERROR or ERROR_TOO_MANY_POSTS.
  DWORD add(LONG count, LONG& previous) noexcept;

  DWORD wait(DWORD milliseconds) noexcept;

  // For waits on several objects. `ready` and `consume` need the page's guard.
  bool try_consume() noexcept;
  bool ready() const noexcept { return page().count.load(std::memory_order_relaxed) > 0; }
  void consume() noexcept;

 private:
  bool is_manual_event() const noexcept {
    return page().kind == SharedKind::kEvent && page().manual_reset != 0;
  }
  SharedWaiter* take_place() noexcept;
  SharedWaiter* next_in_line() noexcept;
  void grant_to_waiters() noexcept;
  DWORD wait_in_place(SharedWaiter& place, const Deadline& deadline) noexcept;
  DWORD wait_for_pulse(const Deadline& deadline) noexcept;

  SharedState state_;
  const std::string key_;
};

// Tells waits on several objects that something changed. Any process.
void send_pulse(SharedPage& page) noexcept;

// Longest sleep of a waiter in shared memory before it looks at the state again.
constexpr DWORD kSharedSleepMilliseconds = 250;

}  // namespace zdr::platform
