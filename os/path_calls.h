// The platform's path-taking calls for narrow and for wide names, so that what is built on them stands once.
#ifndef ZDR_OS_PATH_CALLS_H
#define ZDR_OS_PATH_CALLS_H

#include <windows.h>

#include "os/os.h"

namespace zdr::os {

struct NarrowCalls {
  using Char = char;
  static constexpr auto kCreateFile = &CreateFileA;
  static constexpr auto kDeleteFile = &DeleteFileA;
  static constexpr auto kGetFullPathName = &GetFullPathNameA;
  static constexpr auto kGetDiskFreeSpace = &GetDiskFreeSpaceA;
};

struct WideCalls {
  using Char = char16_t;
  static constexpr auto kCreateFile = &CreateFileW;
  static constexpr auto kDeleteFile = &DeleteFileW;
  static constexpr auto kGetFullPathName = &GetFullPathNameW;
  static constexpr auto kGetDiskFreeSpace = &GetDiskFreeSpaceW;
};

}  // namespace zdr::os

#endif
