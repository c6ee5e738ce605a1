// RegistryHold: makes several changes of the registry one change.
#pragma once

#include "win32_types.h"

namespace zdr::platform {

// Until its end no other process changes the registry, and no other thread of this process gets a hold; both
// wait. Others may read what is half changed. A thread may nest holds.
class ZDR_PLATFORM_API RegistryHold {
 public:
  RegistryHold() noexcept;
  ~RegistryHold();
  RegistryHold(const RegistryHold&) = delete;
  RegistryHold& operator=(const RegistryHold&) = delete;

  // NO_ERROR while held, else the error that functions which change the registry return.
  DWORD error() const noexcept { return error_; }

 private:
  DWORD error_;
};

}  // namespace zdr::platform
