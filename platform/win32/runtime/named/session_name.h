// The name of this process's session.
#pragma once

#include <string>

namespace zdr::platform {

// The first call fixes it. May throw bad_alloc.
std::string fixed_session_name();

}  // namespace zdr::platform
