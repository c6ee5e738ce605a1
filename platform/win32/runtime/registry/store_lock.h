// The lock that lets one process at a time change the registry.
#pragma once

#include <string>

#include "platform/win32/runtime/descriptor.h"
#include "platform/win32/win32_types.h"

namespace zdr::platform {

// Held from acquire to destruction; the kernel drops the lock of a process that dies. Readers take none,
// because they see the file either before or after a replacement.
class StoreLock {
 public:
  // Waits for the current holder. Makes the lock file beside the registry's, and the folders above it.
  DWORD acquire(const std::string& store_path);

 private:
  Descriptor file_;
};

}  // namespace zdr::platform
