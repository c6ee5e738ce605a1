// RegistryHold: makes several changes of the registry one change.
#pragma once

#include "win32_types.h"

namespace zdr::platform {

// From its start to its end no other process changes the registry, and no other thread of this process uses
// it; both wait. This thread reads what it has changed, others the registry as it was: the changes reach the
// file together, by its replacement, when the outermost hold of the thread commits or ends. A process that
// dies before leaves the file as it was. A thread may nest holds.
class ZDR_PLATFORM_API RegistryHold {
 public:
  RegistryHold() noexcept;
  ~RegistryHold();
  RegistryHold(const RegistryHold&) = delete;
  RegistryHold& operator=(const RegistryHold&) = delete;

  // NO_ERROR while held, else the error that functions which change the registry return.
  DWORD error() const noexcept { return error_; }
  // Stores the changes so far; an inner hold leaves that to the outermost one. After a failure the registry
  // is as it was before the hold. The end of a hold does the same, without a result.
  DWORD commit() noexcept;

 private:
  DWORD error_;
};

}  // namespace zdr::platform
