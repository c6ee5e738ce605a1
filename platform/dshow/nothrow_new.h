// Allocation for code that reports exhausted memory as a status. Tests can make both functions fail.
#pragma once

#include <new>
#include <utility>
#include <vector>

#include "platform/win32/fault_injection.h"

namespace zdr::dshow {

// Null if memory runs out.
template <class Object, class... Arguments>
Object* new_or_null(Arguments&&... arguments) {
  if (zdr::platform::should_fail(zdr::platform::FaultPoint::kHeapAllocation)) return nullptr;
  return new (std::nothrow) Object(std::forward<Arguments>(arguments)...);
}

// Returns false, with the list unchanged, when memory runs out.
template <class Element>
bool append_or_fail(std::vector<Element>& list, const Element& element) noexcept {
  if (zdr::platform::should_fail(zdr::platform::FaultPoint::kHeapAllocation)) return false;
  try {
    list.push_back(element);
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

}  // namespace zdr::dshow
