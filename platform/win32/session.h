// Session namespaces: which named objects this process shares, and with whom.
// Named events and mutexes meet only inside one session. Without a choice a process takes the environment
// variable ZDR_SESSION, else the one shared session of the user.
#pragma once

#include "win32_types.h"

#ifdef __cplusplus
namespace zdr::platform {

// Puts the process into the session `name` (UTF-8, not empty, at most 200 bytes). Must come before the first
// named object is made: false afterwards (unless it is the present session) and for a bad name.
ZDR_PLATFORM_API bool set_session(const char* name) noexcept;

// Puts the process into a session that no other process has.
ZDR_PLATFORM_API bool set_private_session() noexcept;

}  // namespace zdr::platform
#endif
