// Keeps two processes from changing the registry at once.
#pragma once

#include <string>

#include "platform/win32/runtime/descriptor.h"
#include "platform/win32/win32_types.h"

namespace zdr::platform {

// Held from acquire to destruction. The kernel drops the lock of a process that dies. Readers need none: they
// see the file before or after a replacement.
class StoreLock {
 public:
  // Waits for other holders. Makes the lock file beside the registry's, and the folders above it.
  DWORD acquire(const std::string& store_path);

 private:
  Descriptor file_;
};

}  // namespace zdr::platform
