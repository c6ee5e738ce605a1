// The table that HANDLE values refer to. A handle is (generation, index) packed into 29 bits and shifted left
// by 2, so it is never null, -1 or -2, fits a 32-bit word, and becomes stale when its slot is closed.
//
// Looking a handle up takes no lock: slots are never freed, and a slot's one atomic word holds its
// generation, two flags and a count of pins. A pin keeps the object alive, so a concurrent CloseHandle cannot
// free it; the last pin of a closed slot retires it.
#pragma once

#include <atomic>
#include <cstdint>

#include "platform/win32/runtime/kernel_object.h"
#include "platform/win32/win32_types.h"

namespace zdr::platform {

// One cache line each, so that two threads working on two handles do not share one.
struct alignas(64) HandleSlot {
  std::atomic<uint64_t> state{0};  // generation << 32 | kLive | kOccupied | pins
  KernelObject* object = nullptr;
  uint32_t next_free = 0;
};

namespace handle_bits {
constexpr uint64_t kLive = 1u << 31;      // the handle is valid
constexpr uint64_t kOccupied = 1u << 30;  // has an object: live, or closed and still pinned
constexpr uint64_t kPinMask = kOccupied - 1;
constexpr unsigned kIndexBits = 16;
constexpr uint64_t kIndexMask = (1u << kIndexBits) - 1;
constexpr uint64_t kGenerationMask = (1u << 13) - 1;
}  // namespace handle_bits

constexpr uint32_t kHandleSlots = 1u << handle_bits::kIndexBits;
extern HandleSlot handle_slots[kHandleSlots];

// Called when a slot has lost its last pin: frees it unless it is live or pinned again.
void retire_slot(HandleSlot& slot) noexcept;

inline void unpin(HandleSlot& slot) noexcept {
  const uint64_t before = slot.state.fetch_sub(1, std::memory_order_acq_rel);
  if ((before & (handle_bits::kPinMask | handle_bits::kLive)) == 1) retire_slot(slot);
}

// Null for a value that no handle can have.
inline HandleSlot* slot_of(HANDLE handle) noexcept {
  const uint64_t value = reinterpret_cast<uintptr_t>(handle);
  if (value >> 31 != 0 || (value & 3) != 0) return nullptr;
  return &handle_slots[(value >> 2) & handle_bits::kIndexMask];
}

// True if a slot in this state belongs to the handle, which is then live.
inline bool is_state_of(uint64_t state, HANDLE handle) noexcept {
  const uint64_t generation = reinterpret_cast<uintptr_t>(handle) >> (2 + handle_bits::kIndexBits);
  return (state & handle_bits::kLive) != 0 && ((state >> 32) & handle_bits::kGenerationMask) == generation;
}

// Keeps a handle's object alive during a call. Empty if the handle is unknown, stale or closed.
class Pin {
 public:
  Pin() noexcept = default;
  explicit Pin(HANDLE handle) noexcept {
    HandleSlot* slot = slot_of(handle);
    if (slot == nullptr) return;
    if (is_state_of(slot->state.fetch_add(1, std::memory_order_acquire), handle)) {
      slot_ = slot;
    } else {
      unpin(*slot);
    }
  }
  Pin(Pin&& other) noexcept : slot_(other.detach()) {}
  Pin& operator=(Pin&& other) noexcept {
    std::swap(slot_, other.slot_);
    return *this;
  }
  ~Pin() {
    if (slot_ != nullptr) unpin(*slot_);
  }

  // The object as T if it is of that kind, else null.
  template <class T>
  T* as(ObjectKind kind) const noexcept {
    KernelObject* object = slot_ == nullptr ? nullptr : slot_->object;
    return object != nullptr && object->kind() == kind ? static_cast<T*>(object) : nullptr;
  }
  template <class T>
  T* as() const noexcept {
    return as<T>(T::kKind);
  }

  // Hands the pin over to the caller, who must unpin the slot.
  HandleSlot* detach() noexcept { return std::exchange(slot_, nullptr); }

 private:
  HandleSlot* slot_ = nullptr;
};

// Returns a new handle, which takes over the reference; null, with the reference dropped, if all slots are
// taken.
HANDLE open_handle(Ref<KernelObject> object) noexcept;

// False if the handle is not valid.
bool close_handle(HANDLE handle) noexcept;

}  // namespace zdr::platform
