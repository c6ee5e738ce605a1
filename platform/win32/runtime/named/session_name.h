// The session namespace that this process is in.
#pragma once

#include <string>

namespace zdr::platform {

// Fixed from the first call on. May throw bad_alloc.
std::string fixed_session_name();

}  // namespace zdr::platform
