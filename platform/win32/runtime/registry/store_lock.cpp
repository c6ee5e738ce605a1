#include "platform/win32/runtime/registry/store_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>

#include "platform/win32/fault_injection.h"
#include "platform/win32/runtime/errno_map.h"
#include "platform/win32/runtime/registry/store_path.h"

namespace zdr::platform {

namespace {

Descriptor open_lock_file(const std::string& path) noexcept {
  return Descriptor(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
}

bool lock_exclusively(int file) noexcept {
  int result;
  do {
    result = flock(file, LOCK_EX);
  } while (result != 0 && errno == EINTR);
  return result == 0;
}

// Somebody may have removed the file while we waited for its lock; the next one then locks a new file.
bool still_has_its_name(int file, const std::string& path) noexcept {
  struct stat locked;
  struct stat named;
  return fstat(file, &locked) == 0 && stat(path.c_str(), &named) == 0 && locked.st_ino == named.st_ino &&
         locked.st_dev == named.st_dev;
}

}  // namespace

DWORD StoreLock::acquire(const std::string& store_path) {
  if (should_fail(FaultPoint::kRegistryStep)) return ERROR_IO_DEVICE;
  const std::string path = store_path + ".lock";
  if (const DWORD error = make_folders_above(path); error != NO_ERROR) return error;
  for (;;) {
    Descriptor file = open_lock_file(path);
    if (!file) return path_error_from_errno(errno, path.c_str());
    if (!lock_exclusively(file.get())) return error_from_errno(errno);
    if (!still_has_its_name(file.get(), path)) continue;
    file_ = std::move(file);
    return NO_ERROR;
  }
}

}  // namespace zdr::platform
