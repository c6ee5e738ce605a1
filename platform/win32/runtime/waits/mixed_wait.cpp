// The watching loop of mixed waits, and taking all objects or none.
#include "platform/win32/runtime/waits/mixed_wait.h"

#include <algorithm>
#include <array>
#include <bitset>

#include "platform/win32/runtime/named/robust_mutex.h"
#include "platform/win32/runtime/named/shared_mutex.h"
#include "platform/win32/runtime/named/shared_signal.h"
#include "platform/win32/win32_sync.h"

namespace zdr::platform {

namespace {

// The death of a mutex's owner sends no pulse, nor does a mutex that was only tried: a bounded sleep finds
// them.
constexpr DWORD kMixedSleepMilliseconds = 50;

template <class T>
T* shared_as(const WaitItem& item) noexcept {
  return item.local == nullptr && item.object->kind() == T::kKind ? static_cast<T*>(item.object) : nullptr;
}

SharedPage& page_of(const WaitItem& item) noexcept {
  if (auto* signal = shared_as<SharedSignal>(item)) return signal->page();
  return static_cast<SharedMutex*>(item.object)->page();
}

class MixedWait {
 public:
  MixedWait(std::span<const WaitItem> items, bool wait_all) noexcept : items_(items), wait_all_(wait_all) {
    waiter_.thread = this_thread_id();
    waiter_.mode = Waiter::Mode::kPoke;
    size_t local_count = 0;
    for (const WaitItem& item : items_) {
      if (item.local != nullptr) nodes_[local_count++] = {nullptr, nullptr, &waiter_, item.local, 0};
      if (item.local == nullptr) page_of(item).pulse_watchers.fetch_add(1, std::memory_order_seq_cst);
    }
    waiter_.nodes = std::span(nodes_).first(local_count);
    mutexes_ = collect(mutex_room_);
    signals_ = collect(signal_room_);
    std::lock_guard lock(dispatcher_lock);
    enqueue(waiter_);
  }
  ~MixedWait() {
    for (const WaitItem& item : items_) {
      if (item.local == nullptr) page_of(item).pulse_watchers.fetch_sub(1, std::memory_order_relaxed);
    }
    std::lock_guard lock(dispatcher_lock);
    dequeue(waiter_);
  }

  DWORD run(const Deadline& deadline) noexcept {
    for (;;) {
      const size_t watched = note_words();
      DWORD result = WAIT_TIMEOUT;
      if (wait_all_ ? take_all(result) : take_first(result)) return result;
      if (deadline.passed()) return WAIT_TIMEOUT;
      futex_wait_any(std::span(words_).first(watched), deadline.earlier_of(kMixedSleepMilliseconds));
    }
  }

 private:
  // Values from before the look at the objects: a change after it ends the sleep at once.
  size_t note_words() noexcept {
    size_t count = 0;
    waiter_.outcome.store(Waiter::kPending, std::memory_order_seq_cst);
    words_[count++] = {&waiter_.outcome, Waiter::kPending, FutexScope::kProcess};
    for (const WaitItem& item : items_) {
      if (item.local != nullptr) continue;
      FutexWord& pulse = page_of(item).pulse;
      words_[count++] = {&pulse, pulse.load(std::memory_order_seq_cst), FutexScope::kShared};
    }
    return count;
  }

  // The shared objects of one kind, in one order for all processes, so that two waits for all objects cannot
  // keep each other from going on.
  template <class T>
  std::span<T*> collect(std::array<T*, MAXIMUM_WAIT_OBJECTS>& room) noexcept {
    size_t count = 0;
    for (const WaitItem& item : items_) {
      if (T* object = shared_as<T>(item)) room[count++] = object;
    }
    const std::span<T*> found = std::span(room).first(count);
    std::sort(found.begin(), found.end(), [](T* a, T* b) { return a->key() < b->key(); });
    return found;
  }

  bool take_first(DWORD& result) noexcept {
    for (size_t i = 0; i < items_.size(); ++i) {
      bool abandoned = false;
      if (!take_one(items_[i], abandoned)) continue;
      result = (abandoned ? WAIT_ABANDONED_0 : WAIT_OBJECT_0) + static_cast<DWORD>(i);
      return true;
    }
    return false;
  }

  bool take_one(const WaitItem& item, bool& abandoned) noexcept {
    if (auto* signal = shared_as<SharedSignal>(item)) return signal->try_consume();
    if (auto* mutex = shared_as<SharedMutex>(item)) return take_mutex(*mutex, abandoned);
    std::lock_guard lock(dispatcher_lock);
    if (!item.local->ready_for(waiter_.thread)) return false;
    abandoned = item.local->consume(waiter_.thread);
    return true;
  }

  static bool take_mutex(SharedMutex& mutex, bool& abandoned) noexcept {
    const DWORD result = mutex.wait(0);
    abandoned |= result == WAIT_ABANDONED;
    return result == WAIT_OBJECT_0 || result == WAIT_ABANDONED;
  }

  // A shared mutex can only be looked at by taking it, which others could notice: that comes when all else is
  // ready. The rest then holds still under its locks.
  bool take_all(DWORD& result) noexcept {
    if (!all_but_mutexes_ready()) return false;
    std::bitset<MAXIMUM_WAIT_OBJECTS> abandoned;
    size_t taken = 0;
    for (; taken < mutexes_.size(); ++taken) {
      bool was_abandoned = false;
      if (!take_mutex(*mutexes_[taken], was_abandoned)) break;
      abandoned[taken] = was_abandoned;
    }
    bool any_abandoned = abandoned.any();
    if (taken == mutexes_.size() && take_signals_and_local(any_abandoned)) {
      result = any_abandoned ? WAIT_ABANDONED_0 : WAIT_OBJECT_0;
      return true;
    }
    while (taken > 0) {
      --taken;
      // One found abandoned keeps that mark for whoever takes it in the end.
      if (mutexes_[taken]->release_one()) mutexes_[taken]->put_back(abandoned[taken]);
    }
    return false;
  }

  bool all_but_mutexes_ready() noexcept {
    const auto is_ready = [](const SharedSignal* signal) { return signal->ready(); };
    if (!std::all_of(signals_.begin(), signals_.end(), is_ready)) return false;
    std::lock_guard lock(dispatcher_lock);
    return all_local_ready();
  }

  // Needs the dispatcher lock.
  bool all_local_ready() const noexcept {
    return std::all_of(waiter_.nodes.begin(), waiter_.nodes.end(),
                       [this](const WaitNode& node) { return node.object->ready_for(waiter_.thread); });
  }

  bool take_signals_and_local(bool& abandoned) noexcept {
    std::lock_guard lock(dispatcher_lock);
    return lock_and_take(signals_, abandoned);
  }

  bool lock_and_take(std::span<SharedSignal* const> signals, bool& abandoned) noexcept {
    if (!signals.empty()) {
      const RobustLock lock(signals.front()->page().guard);
      if (!signals.front()->ready() || !lock_and_take(signals.subspan(1), abandoned)) return false;
      signals.front()->consume();
      return true;
    }
    if (!all_local_ready()) return false;
    for (const WaitNode& node : waiter_.nodes) abandoned |= node.object->consume(waiter_.thread);
    return true;
  }

  std::span<const WaitItem> items_;
  bool wait_all_;
  Waiter waiter_;
  std::array<WaitNode, MAXIMUM_WAIT_OBJECTS> nodes_;
  std::array<SharedMutex*, MAXIMUM_WAIT_OBJECTS> mutex_room_;
  std::array<SharedSignal*, MAXIMUM_WAIT_OBJECTS> signal_room_;
  std::span<SharedMutex*> mutexes_;
  std::span<SharedSignal*> signals_;
  std::array<FutexExpectation, MAXIMUM_WAIT_OBJECTS + 1> words_;
};

}  // namespace

DWORD wait_for_mixed(std::span<const WaitItem> items, bool wait_all, DWORD milliseconds) noexcept {
  MixedWait wait(items, wait_all);
  return wait.run(Deadline::after(milliseconds));
}

}  // namespace zdr::platform
