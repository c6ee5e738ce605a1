// The thread facility. A table of slots passes routine and argument from the creator to the new thread.
#include <windows.h>

#include <algorithm>
#include <iterator>

#include "os/mutex_lock.h"
#include "os/os.h"

namespace zdr::os {
namespace {

// A slot is free while it has no routine.
struct StartSlot {
  OS_ThreadRoutine routine;
  void* argument;
};

struct StartTable {
  void* creation_mutex;  // one creator at a time, so that after a failure it frees its own slot
  void* slot_mutex;      // guards the slots
  StartSlot slots[32];
};

StartTable g_start_table;

StartSlot take_slot(uintptr_t index) {
  const MutexLock lock(g_start_table.slot_mutex);
  if (lock.status() != FMGR_OK) return {};
  StartSlot taken = g_start_table.slots[index];
  g_start_table.slots[index] = {};
  return taken;
}

// Returns the index of the slot, or the number of slots when none is free.
uintptr_t fill_slot(const StartSlot& content) {
  StartSlot* end = std::end(g_start_table.slots);
  const MutexLock lock(g_start_table.slot_mutex);
  if (lock.status() != FMGR_OK) return std::size(g_start_table.slots);
  StartSlot* slot =
      std::find_if(g_start_table.slots, end, [](const StartSlot& s) { return s.routine == nullptr; });
  if (slot != end) *slot = content;
  return static_cast<uintptr_t>(slot - g_start_table.slots);
}

DWORD WINAPI run_slot(void* index) {
  const StartSlot slot = take_slot(reinterpret_cast<uintptr_t>(index));
  return slot.routine != nullptr ? slot.routine(slot.argument) : 0;
}

void release_mutexes() {
  if (g_start_table.creation_mutex != nullptr) OS_MutexDestroy(g_start_table.creation_mutex);
  if (g_start_table.slot_mutex != nullptr) OS_MutexDestroy(g_start_table.slot_mutex);
  g_start_table = {};
}

}  // namespace
}  // namespace zdr::os

using namespace zdr::os;

int32_t OS_ThreadInit(void) noexcept {
  if (g_start_table.slot_mutex != nullptr) return FMGR_OK;
  g_start_table.creation_mutex = OS_MutexCreate();
  g_start_table.slot_mutex = OS_MutexCreate();
  if (g_start_table.creation_mutex != nullptr && g_start_table.slot_mutex != nullptr) return FMGR_OK;
  release_mutexes();
  return FMGR_ERR_GENERIC;
}

int32_t OS_ThreadShutdown(void) noexcept {
  release_mutexes();
  return FMGR_OK;
}

void* OS_ThreadCreate(OS_ThreadRoutine routine, void* argument, uint32_t stack_size,
                      uint32_t flags) noexcept {
  if (routine == nullptr) return nullptr;
  const MutexLock lock(g_start_table.creation_mutex);
  if (lock.status() != FMGR_OK) return nullptr;
  const uintptr_t index = fill_slot({routine, argument});
  if (index == std::size(g_start_table.slots)) return nullptr;
  const HANDLE thread =
      CreateThread(nullptr, stack_size, &run_slot, reinterpret_cast<void*>(index), flags, nullptr);
  if (thread == nullptr) take_slot(index);
  return thread;
}

int32_t OS_ThreadSetPriority(void* thread, int32_t priority) noexcept {
  // Kept: success is -1 and failure 0.
  return SetThreadPriority(thread, priority) ? -1 : 0;
}
