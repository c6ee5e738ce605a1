// Creation of objects where running out of memory must become a status.
#pragma once

#include <new>
#include <utility>

#include "platform/win32/fault_injection.h"

namespace zdr::dshow {

// nullptr when memory runs out (or a test says so).
template <class Object, class... Arguments>
Object* new_or_null(Arguments&&... arguments) {
  if (zdr::platform::should_fail(zdr::platform::FaultPoint::kHeapAllocation)) return nullptr;
  return new (std::nothrow) Object(std::forward<Arguments>(arguments)...);
}

}  // namespace zdr::dshow
