// Takes the lock on the file beside the registry's file.
#include "platform/win32/runtime/registry/store_lock.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "platform/win32/fault_injection.h"
#include "platform/win32/runtime/errno_map.h"
#include "platform/win32/runtime/registry/store_path.h"
#include "platform/win32/runtime/system_calls.h"

namespace zdr::platform {

namespace {

Descriptor open_lock_file(const std::string& path) noexcept {
  return Descriptor(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
}

// False if the file was removed or replaced while this process waited for its lock.
bool is_still_at(int file, const std::string& path) noexcept {
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
    if (!set_flock(file.get(), LOCK_EX)) return error_from_errno(errno);
    if (!is_still_at(file.get(), path)) continue;
    file_ = std::move(file);
    return NO_ERROR;
  }
}

}  // namespace zdr::platform
