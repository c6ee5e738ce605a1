// Maps errno values to Win32 error codes by a table, and distinguishes a missing folder from a missing file.
#include "platform/win32/runtime/errno_map.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>

namespace zdr::platform {

namespace {

struct ErrnoRow {
  int posix;
  DWORD win32;
};

constexpr ErrnoRow kErrnoTable[] = {
    {ENOENT, ERROR_FILE_NOT_FOUND},
    {ENOTDIR, ERROR_PATH_NOT_FOUND},
    {EACCES, ERROR_ACCESS_DENIED},
    {EPERM, ERROR_ACCESS_DENIED},
    {EISDIR, ERROR_ACCESS_DENIED},
    {EROFS, ERROR_WRITE_PROTECT},
    {EBADF, ERROR_INVALID_HANDLE},
    {ENOMEM, ERROR_NOT_ENOUGH_MEMORY},
    {EMFILE, ERROR_TOO_MANY_OPEN_FILES},
    {ENFILE, ERROR_TOO_MANY_OPEN_FILES},
    {EEXIST, ERROR_FILE_EXISTS},
    {EINVAL, ERROR_INVALID_PARAMETER},
    {ENOSPC, ERROR_DISK_FULL},
    {EDQUOT, ERROR_DISK_FULL},
    {EFBIG, ERROR_FILE_TOO_LARGE},
    {ENAMETOOLONG, ERROR_FILENAME_EXCED_RANGE},
    {ELOOP, ERROR_CANT_RESOLVE_FILENAME},
    {ENOTEMPTY, ERROR_DIR_NOT_EMPTY},
    {EXDEV, ERROR_NOT_SAME_DEVICE},
    {EPIPE, ERROR_BROKEN_PIPE},
    {EBUSY, ERROR_BUSY},
    {ETXTBSY, ERROR_SHARING_VIOLATION},
    {ESPIPE, ERROR_SEEK_ON_DEVICE},
    {EIO, ERROR_IO_DEVICE},
    {EFAULT, ERROR_NOACCESS},
    {ENOSYS, ERROR_NOT_SUPPORTED},
    {EOPNOTSUPP, ERROR_NOT_SUPPORTED},
};

bool parent_folder_exists(const char* native_path) noexcept {
  const char* slash = std::strrchr(native_path, '/');
  if (slash == nullptr || slash == native_path) return true;
  char parent[4096];
  const size_t length = static_cast<size_t>(slash - native_path);
  if (length >= sizeof parent) return true;
  std::memcpy(parent, native_path, length);
  parent[length] = '\0';
  struct stat info;
  return stat(parent, &info) == 0 && S_ISDIR(info.st_mode);
}

}  // namespace

DWORD error_from_errno(int error) noexcept {
  for (const ErrnoRow& row : kErrnoTable) {
    if (row.posix == error) return row.win32;
  }
  return ERROR_GEN_FAILURE;
}

DWORD path_error_from_errno(int error, const char* native_path) noexcept {
  if (error == ENOENT && !parent_folder_exists(native_path)) return ERROR_PATH_NOT_FOUND;
  return error_from_errno(error);
}

}  // namespace zdr::platform
