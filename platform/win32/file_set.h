// A set of files, identified by device and inode: a file that has several names, through links or folders,
// is in it once.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <utility>

#include "win32_types.h"

namespace zdr::platform {

class FileSet {
 public:
  // Adds the file that has this name now, if there is one.
  ZDR_PLATFORM_API void add(const std::string& path);
  // True if the file that has this name now is in the set.
  ZDR_PLATFORM_API bool contains(const std::string& path) const noexcept;

 private:
  std::set<std::pair<uint64_t, uint64_t>> files_;  // device and inode of each
};

}  // namespace zdr::platform
