// Keeps exceptions inside COM methods.
#pragma once

#include <windows.h>

#include <new>

namespace zdr::host {

// Returns what `body` returns, or E_OUTOFMEMORY if it runs out of memory.
template <class Body>
HRESULT or_out_of_memory(Body body) {
  try {
    return body();
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}

}  // namespace zdr::host
