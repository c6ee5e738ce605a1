// The debugging macros of the base classes, as a release build has them: checks and logging vanish, an
// argument with an effect is still evaluated. Macros, since the names are fixed and CheckPointer returns from
// its caller.
#pragma once

#include <windows.h>

#define NAME(x) (static_cast<LPCTSTR>(nullptr))

#define ASSERT(condition) static_cast<void>(0)
#define KASSERT(condition) static_cast<void>(0)
#define EXECUTE_ASSERT(condition) static_cast<void>(condition)
#define DbgLog(arguments) static_cast<void>(0)
#define DbgBreak(text) static_cast<void>(0)

#define CheckPointer(pointer, result)          \
  do {                                         \
    if ((pointer) == nullptr) return (result); \
  } while (false)

#define ValidateReadPtr(pointer, size) static_cast<void>(0)
#define ValidateWritePtr(pointer, size) static_cast<void>(0)
#define ValidateReadWritePtr(pointer, size) static_cast<void>(0)
#define ValidateStringPtr(pointer) static_cast<void>(0)
