// The platform's functions that take a path, for narrow and for wide paths, so that code over them is written
// once.
#pragma once

#include <windows.h>

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
