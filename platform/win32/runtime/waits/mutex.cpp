// CreateMutexW, ReleaseMutex, and waiting for a mutex.
#include "platform/win32/runtime/waits/mutex.h"

#include <new>
#include <utility>

#include "platform/win32/fault_injection.h"
#include "platform/win32/runtime/api_boundary.h"
#include "platform/win32/runtime/thread_state.h"
#include "platform/win32/runtime/waits/new_handle.h"
#include "platform/win32/runtime/waits/thread_exit.h"
#include "platform/win32/win32_sync.h"

namespace zdr::platform {

namespace {

constexpr uint32_t kContended = 1u << 31;  // threads sleep on the word
constexpr uint32_t kHandOver = 1u << 30;   // one of them has lost the mutex before
constexpr uint32_t kOwnerMask = kHandOver - 1;
constexpr uint32_t kReserved = kOwnerMask;  // as owner: released for the threads that sleep
static_assert(kLargestThreadId < kReserved);

// Tells the processor that the thread spins.
void pause_briefly() noexcept {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_ia32_pause();
#elif defined(__aarch64__)
  __asm__ __volatile__("yield");
#endif
}

}  // namespace

bool MutexObject::try_lock(uint32_t thread) noexcept {
  uint32_t seen = 0;
  if (word_.compare_exchange_strong(seen, thread, std::memory_order_acquire, std::memory_order_relaxed)) {
    depth_ = 1;
    return true;
  }
  if ((seen & kOwnerMask) != thread) return false;
  ++depth_;
  return true;
}

// Most owners hold a mutex for less than a thread switch takes.
bool MutexObject::spin(uint32_t thread) noexcept {
  constexpr int kSpins = 64;
  for (int i = 0; i < kSpins; ++i) {
    if (try_lock(thread)) return true;
    pause_briefly();
  }
  return false;
}

bool MutexObject::sleep(uint32_t thread, const Deadline& deadline) noexcept {
  for (bool lost = false;; lost = true) {
    uint32_t seen = word_.load(std::memory_order_relaxed);
    for (;;) {
      const uint32_t owner = seen & kOwnerMask;
      const bool is_free = owner == 0 || (lost && owner == kReserved);
      const bool is_late = !is_free && deadline.passed();
      uint32_t next = seen | kContended | (lost ? kHandOver : 0);
      if (is_free) next = thread | kContended;  // others may sleep
      if (is_late) next = seen & ~kHandOver;    // nothing may be reserved for a thread that has left
      if (!word_.compare_exchange_weak(seen, next, std::memory_order_acquire, std::memory_order_relaxed))
        continue;
      if (is_free) depth_ = 1;
      if (is_free || is_late) return is_free;
      futex_wait({&word_, next, FutexScope::kProcess}, deadline);
      break;
    }
  }
}

void MutexObject::unlock() noexcept {
  depth_ = 0;
  uint32_t seen = word_.load(std::memory_order_relaxed);
  while (!word_.compare_exchange_weak(seen, (seen & kHandOver) != 0 ? kReserved | kContended : 0,
                                      std::memory_order_release, std::memory_order_relaxed)) {
  }
  if ((seen & kContended) != 0) futex_wake(word_, 1, FutexScope::kProcess);
}

DWORD MutexObject::lock(Pin& pin, DWORD milliseconds) noexcept {
  const uint32_t thread = this_thread_id();
  const bool locked = try_lock(thread) ||
                      (milliseconds != 0 && (spin(thread) || sleep(thread, Deadline::after(milliseconds))));
  if (!locked) return WAIT_TIMEOUT;
  if (depth_ > 1) return WAIT_OBJECT_0;
  if (this_thread.abandon_mutexes == nullptr) abandon_at_thread_exit(&MutexObject::abandon_all);
  owner_pin_ = pin.detach();
  next_owned_ = std::exchange(this_thread.owned_mutexes, this);
  return std::exchange(abandoned_, false) ? WAIT_ABANDONED : WAIT_OBJECT_0;
}

void MutexObject::release_owned(MutexObject*& link) noexcept {
  MutexObject& mutex = *link;
  link = mutex.next_owned_;
  HandleSlot* const slot = mutex.owner_pin_;
  mutex.unlock();
  unpin(*slot);
}

DWORD MutexObject::release(HANDLE handle) noexcept {
  const HandleSlot* slot = slot_of(handle);
  if (slot == nullptr || !is_state_of(slot->state.load(std::memory_order_relaxed), handle)) {
    return ERROR_INVALID_HANDLE;
  }
  // The owner's pin keeps the mutex alive; no other pin is needed.
  for (MutexObject** link = &this_thread.owned_mutexes; *link != nullptr; link = &(*link)->next_owned_) {
    if ((*link)->owner_pin_ != slot) continue;
    if (--(*link)->depth_ == 0) release_owned(*link);
    return NO_ERROR;
  }
  return Pin(handle).as<MutexObject>() != nullptr ? ERROR_NOT_OWNER : ERROR_INVALID_HANDLE;
}

void MutexObject::abandon_all() noexcept {
  while (this_thread.owned_mutexes != nullptr) {
    this_thread.owned_mutexes->abandoned_ = true;
    release_owned(this_thread.owned_mutexes);
  }
}

}  // namespace zdr::platform

using namespace zdr::platform;

HANDLE CreateMutexW(LPSECURITY_ATTRIBUTES, BOOL initial_owner, LPCWSTR name) noexcept {
  if (initial_owner != FALSE || is_named(name)) return fail_handle(ERROR_NOT_SUPPORTED);
  if (should_fail(FaultPoint::kMutexCreate)) return fail_handle(ERROR_NOT_ENOUGH_MEMORY);
  return new_handle(Ref<KernelObject>(new (std::nothrow) MutexObject), NO_ERROR);
}

BOOL ReleaseMutex(HANDLE mutex) noexcept {
  return report(MutexObject::release(mutex));
}
