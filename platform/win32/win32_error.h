// The calling thread's last error, and the debugger's text output.
#pragma once

#include "win32_types.h"

// Per thread. A failing function sets it; a succeeding one leaves it alone unless its own comment says
// otherwise. Nothing that the runtime does inside (side files, shared folders, allocation, logging) is
// visible in it.
ZDR_WIN32 DWORD GetLastError(void) ZDR_NOEXCEPT;
ZDR_WIN32 void SetLastError(DWORD code) ZDR_NOEXCEPT;

// NULL is allowed. Goes to the hook set with debug_output.h; without one nothing happens, as without a
// debugger.
ZDR_WIN32 void OutputDebugStringW(LPCWSTR text) ZDR_NOEXCEPT;
