// Finds out who else can change a file or folder that decides what this process loads.
#pragma once

#include <string>

namespace zdr::platform {

// Null if only this user and root can change the file or folder, else why not: "belongs to another user",
// "can be written by other users", or "cannot be examined". A group may write if it is the owner's own: it
// has the owner's name, and nobody else is in it. Follows links. The folders above are not examined.
const char* distrust_reason(const std::string& path) noexcept;

}  // namespace zdr::platform
