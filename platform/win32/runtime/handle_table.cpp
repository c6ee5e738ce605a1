// The slots of the handle table, their free list, and CloseHandle.
#include "platform/win32/runtime/handle_table.h"

#include <mutex>

#include "platform/win32/runtime/api_boundary.h"
#include "platform/win32/win32_sync.h"

namespace zdr::platform {

// Zero pages until used: the table costs memory only for slots that have been taken.
constinit HandleSlot handle_slots[kHandleSlots];

namespace {

using namespace handle_bits;

// First in, first out, and never emptied below a reserve while fresh slots are left, so a stale handle value
// is reused only after some two million closes.
constexpr uint32_t kFreeReserve = 256;

struct FreeSlots {
  std::mutex mutex;
  uint32_t first = 0;  // index 0 is never handed out and ends the list
  uint32_t last = 0;
  uint32_t count = 0;
  uint32_t first_fresh = 1;

  uint32_t take() noexcept {
    std::lock_guard lock(mutex);
    if (count <= kFreeReserve && first_fresh < kHandleSlots) return first_fresh++;
    if (count == 0) return 0;
    const uint32_t index = first;
    first = handle_slots[index].next_free;
    --count;
    return index;
  }

  void give_back(uint32_t index) noexcept {
    std::lock_guard lock(mutex);
    handle_slots[index].next_free = 0;
    if (count == 0) {
      first = index;
    } else {
      handle_slots[last].next_free = index;
    }
    last = index;
    ++count;
  }
};

constinit FreeSlots free_slots;

HANDLE pack(uint64_t state, uint32_t index) noexcept {
  const uint64_t generation = (state >> 32) & kGenerationMask;
  return reinterpret_cast<HANDLE>(static_cast<uintptr_t>(((generation << kIndexBits) | index) << 2));
}

}  // namespace

HANDLE open_handle(Ref<KernelObject> object) noexcept {
  const uint32_t index = free_slots.take();
  if (index == 0) return nullptr;
  HandleSlot& slot = handle_slots[index];
  slot.object = object.detach();
  // Not a plain store: the lookup of a stale handle may hold a pin on this slot for a moment.
  const uint64_t state = slot.state.fetch_or(kLive | kOccupied, std::memory_order_release);
  return pack(state, index);
}

bool close_handle(HANDLE handle) noexcept {
  HandleSlot* slot = slot_of(handle);
  if (slot == nullptr) return false;
  uint64_t state = slot->state.load(std::memory_order_relaxed);
  do {
    if (!is_state_of(state, handle)) return false;
  } while (!slot->state.compare_exchange_weak(state, (state & ~kLive) + 1, std::memory_order_acq_rel));
  unpin(*slot);
  return true;
}

void retire_slot(HandleSlot& slot) noexcept {
  uint64_t state = slot.state.load(std::memory_order_relaxed);
  if ((state & kOccupied) == 0 || (state & (kLive | kPinMask)) != 0) return;
  const uint64_t next_generation = ((state >> 32) + 1) << 32;
  // Fails when another lookup has pinned the slot meanwhile; that lookup then retires it.
  if (!slot.state.compare_exchange_strong(state, next_generation, std::memory_order_acq_rel)) return;
  Ref<KernelObject> object(std::exchange(slot.object, nullptr));
  free_slots.give_back(static_cast<uint32_t>(&slot - handle_slots));
}

}  // namespace zdr::platform

BOOL CloseHandle(HANDLE handle) noexcept {
  return zdr::platform::report(zdr::platform::close_handle(handle) ? NO_ERROR : ERROR_INVALID_HANDLE);
}
