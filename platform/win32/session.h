// Sessions: which processes share named events with this one.
// Named events are shared within one session only. A process that chooses none is in the session that the
// environment variable ZDR_SESSION names, else in the user's default session.
#pragma once

#include "win32_types.h"

namespace zdr::platform {

// Puts the process into the session `name` (UTF-8, not empty, at most 200 bytes). False for a bad name, and
// once the process has made a named event (unless it is in that session already).
ZDR_PLATFORM_API bool set_session(const char* name) noexcept;

// Puts the process into a session that no other process is in.
ZDR_PLATFORM_API bool set_private_session() noexcept;

}  // namespace zdr::platform
