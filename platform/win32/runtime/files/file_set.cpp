// Identifies a file by its device and inode.
#include "platform/win32/file_set.h"

#include <sys/stat.h>

namespace zdr::platform {

void FileSet::add(const std::string& path) {
  struct stat info;
  if (stat(path.c_str(), &info) == 0) files_.emplace(info.st_dev, info.st_ino);
}

bool FileSet::contains(const std::string& path) const noexcept {
  struct stat info;
  return stat(path.c_str(), &info) == 0 && files_.contains({info.st_dev, info.st_ino});
}

}  // namespace zdr::platform
