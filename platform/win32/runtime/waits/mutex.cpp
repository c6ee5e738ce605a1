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

constexpr uint32_t kContended = 1u << 31;  // threads may sleep on the word
static_assert(kLargestThreadId < kContended);

// Hints to the processor that the thread is spinning.
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
  if ((seen & ~kContended) != thread) return false;
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
  uint32_t seen = word_.load(std::memory_order_relaxed);
  for (;;) {
    const bool is_free = (seen & ~kContended) == 0;
    const uint32_t next = (is_free ? thread : seen) | kContended;
    if (!word_.compare_exchange_weak(seen, next, std::memory_order_acquire, std::memory_order_relaxed))
      continue;
    if (is_free) break;
    if (deadline.passed()) return false;
    futex_wait({&word_, next, FutexScope::kProcess}, deadline);
    seen = word_.load(std::memory_order_relaxed);
  }
  depth_ = 1;
  return true;
}

void MutexObject::unlock() noexcept {
  depth_ = 0;
  const uint32_t before = word_.exchange(0, std::memory_order_release);
  if ((before & kContended) != 0) futex_wake(word_, 1, FutexScope::kProcess);
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
