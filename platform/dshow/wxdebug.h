// The macros of the base classes that a release build has. They are macros because their names are fixed, and
// because CheckPointer returns from its caller.
#pragma once

#include <windows.h>

// The name of an object, for debuggers of other builds.
#define NAME(x) (static_cast<LPCTSTR>(nullptr))

#define CheckPointer(pointer, result)          \
  do {                                         \
    if ((pointer) == nullptr) return (result); \
  } while (false)
