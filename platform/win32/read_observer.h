// Reports to a program what it reads from files, so that it can measure what an operation costs.
#pragma once

#include <cstddef>

#include "win32_types.h"

namespace zdr::platform {

class ReadObserver {
 public:
  // A read of a file that is open for reading only returned `bytes` from `offset` on. Called on the thread
  // that reads, one call at a time. Must not read files.
  virtual void on_read(uint64_t offset, size_t bytes) noexcept = 0;

 protected:
  ~ReadObserver() = default;
};

// Replaces the observer of the process; null: none. After it returns, the old one is not called any more.
ZDR_PLATFORM_API void set_read_observer(ReadObserver* observer) noexcept;

}  // namespace zdr::platform
