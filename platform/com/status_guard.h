// Turns exceptions at the boundary of the runtime into statuses.
#pragma once

#include <windows.h>

#include <new>

namespace zdr::com {

// The result of work(); E_OUTOFMEMORY if it runs out of memory, E_UNEXPECTED for any other exception.
template <class Work>
HRESULT guarded(Work work) noexcept {
  try {
    return work();
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  } catch (...) {
    return E_UNEXPECTED;
  }
}

}  // namespace zdr::com
