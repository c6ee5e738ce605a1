// Where OutputDebugStringW sends its text: a replaceable hook, none by default.
#pragma once

#include "win32_types.h"

namespace zdr::platform {

// Called on the thread that prints, while no lock of this layer is held; `text` is never null. Must not
// throw. The last error is preserved around the call.
using DebugOutputHook = void (*)(const WCHAR* text, void* context);

// Installs the hook (null removes it). Calls of the previous hook may still be running afterwards.
ZDR_PLATFORM_API void set_debug_output_hook(DebugOutputHook hook, void* context) noexcept;

}  // namespace zdr::platform
