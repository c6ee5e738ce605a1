// Named events: a signal in a page of memory, shared by all processes of a session that have the event open.
#pragma once

#include "platform/win32/runtime/kernel_object.h"
#include "platform/win32/win32_types.h"

namespace zdr::platform {

// Opens the event, or makes it with the given type and state when no process has it open. `existed` reports
// which; error codes as CreateEventW. May throw bad_alloc.
DWORD open_named_event(LPCWSTR name, bool manual_reset, bool set, Ref<KernelObject>& event, bool& existed);

}  // namespace zdr::platform
