// Where OutputDebugStringW goes: a replaceable hook, none by default.
#pragma once

#include "win32_types.h"

#ifdef __cplusplus
namespace zdr::platform {

// Called on the thread that prints, with no lock of this layer held; `text` is never null. Must not throw.
// The last error is kept around the call.
using DebugOutputHook = void (*)(const WCHAR* text, void* context);

// Returns once the hook is installed; a call of the previous hook may still be running. nullptr removes it.
ZDR_PLATFORM_API void set_debug_output_hook(DebugOutputHook hook, void* context) noexcept;

}  // namespace zdr::platform
#endif
