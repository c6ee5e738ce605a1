// The calling thread's last error, and the debugger's text output.
#ifndef ZDR_WIN32_ERROR_H
#define ZDR_WIN32_ERROR_H

#include "win32_types.h"

// Per thread. A failing function sets it; a succeeding one leaves it alone unless its own comment says
// otherwise. What the runtime does internally (side files, shared folders, allocation, logging) never changes
// it.
ZDR_WIN32 DWORD GetLastError(void) ZDR_NOEXCEPT;
ZDR_WIN32 void SetLastError(DWORD code) ZDR_NOEXCEPT;

// Passes the text to the hook of debug_output.h; without a hook, as without a debugger, it has no effect.
// Null is ignored.
ZDR_WIN32 void OutputDebugStringW(LPCWSTR text) ZDR_NOEXCEPT;

#endif
