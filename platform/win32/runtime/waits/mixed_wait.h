// Waits on several objects of which at least one is shared between processes.
// Nobody can hand such a waiter anything in one step, so it watches: local objects poke it, shared ones
// pulse, and each time it tries to take what it waits for, one object in order or all together.
#pragma once

#include <span>

#include "platform/win32/runtime/waits/local_objects.h"

namespace zdr::platform {

struct WaitItem {
  KernelObject* object = nullptr;
  LocalObject* local = nullptr;  // null: a SharedSignal or SharedMutex
};

// Result as WaitForMultipleObjects. Mutexes that it took have depth 1 when they were taken for the first
// time.
DWORD wait_for_mixed(std::span<const WaitItem> items, bool wait_all, DWORD milliseconds) noexcept;

}  // namespace zdr::platform
