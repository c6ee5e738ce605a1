// CreateFile's dispositions, rights and share test; DeleteFile.
#include "platform/win32/runtime/files/file_open.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "platform/win32/runtime/errno_map.h"

namespace zdr::platform {

namespace {

// A file that appears and vanishes between two attempts is tried again this often.
constexpr int kOpenAttempts = 100;

constexpr mode_t kWriteBits = 0222;

struct WantedRights {
  FileRights file;
  bool remove;

  explicit WantedRights(const OpenRequest& request) noexcept
      : file{(request.access & (GENERIC_READ | GENERIC_ALL | MAXIMUM_ALLOWED | FILE_READ_DATA)) != 0,
             (request.access & (GENERIC_WRITE | GENERIC_ALL | FILE_WRITE_DATA | FILE_APPEND_DATA)) != 0},
        remove((request.access & (DELETE | GENERIC_ALL)) != 0 ||
               (request.flags & FILE_FLAG_DELETE_ON_CLOSE) != 0) {}
};

bool truncates(DWORD disposition) noexcept {
  return disposition == CREATE_ALWAYS || disposition == TRUNCATE_EXISTING;
}

// Truncation counts as writing, whatever access was asked for.
ShareRequest share_request(const OpenRequest& request, const WantedRights& wanted) noexcept {
  UseSet uses = 0;
  if (wanted.file.read) uses |= kUseRead;
  if (wanted.file.write || truncates(request.disposition)) uses |= kUseWrite;
  if (wanted.remove) uses |= kUseDelete;
  return {uses, static_cast<UseSet>(request.share & kAllUses)};
}

DWORD check_arguments(const OpenRequest& request) noexcept {
  if (request.disposition < CREATE_NEW || request.disposition > TRUNCATE_EXISTING) {
    return ERROR_INVALID_PARAMETER;
  }
  if ((request.flags & (FILE_FLAG_OVERLAPPED | FILE_FLAG_NO_BUFFERING)) != 0) return ERROR_INVALID_PARAMETER;
  if (request.disposition == TRUNCATE_EXISTING && (request.access & (GENERIC_WRITE | GENERIC_ALL)) == 0) {
    return ERROR_INVALID_PARAMETER;
  }
  return NO_ERROR;
}

int open_flags(const OpenRequest& request, const WantedRights& wanted) noexcept {
  // Not to wait for whoever may open the other end of a pipe, perhaps never.
  int flags = O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
  if ((request.flags & FILE_FLAG_WRITE_THROUGH) != 0) flags |= O_DSYNC;
  const bool writes = wanted.file.write || truncates(request.disposition);
  if (!writes) return flags | O_RDONLY;
  return flags | (wanted.file.read ? O_RDWR : O_WRONLY);
}

bool is_link(const char* path) noexcept {
  struct stat info;
  return lstat(path, &info) == 0 && S_ISLNK(info.st_mode);
}

// The descriptor, and whether the file was there before; or an errno.
class Opener {
 public:
  Opener(const char* path, int flags, mode_t mode) noexcept : path_(path), flags_(flags), mode_(mode) {}

  int open_existing(Descriptor& file) noexcept { return attempt(0, file); }
  int create_new(Descriptor& file) noexcept { return attempt(O_CREAT | O_EXCL, file); }

  // Learns in one step whether it created the file: exclusive creation first, then the plain open, again if
  // the file vanished between the two.
  int open_or_create(Descriptor& file, bool& existed) noexcept {
    for (int i = 0; i < kOpenAttempts; ++i) {
      existed = false;
      int error = create_new(file);
      if (error != EEXIST) return error;
      existed = true;
      error = open_existing(file);
      if (error != ENOENT) return error;
      // A link to nowhere exists and does not: here its target is made.
      if (is_link(path_)) {
        existed = false;
        return attempt(O_CREAT, file);
      }
    }
    return EBUSY;
  }

 private:
  int attempt(int extra_flags, Descriptor& file) noexcept {
    int flags = flags_ | extra_flags;
    for (;;) {
      const int number = open(path_, flags, mode_);
      if (number >= 0) {
        file = Descriptor(number);
        return 0;
      }
      // Only the holder of a lease on a regular file is waited for, which the system limits.
      if (errno == EWOULDBLOCK && (flags & O_NONBLOCK) != 0) {
        flags &= ~O_NONBLOCK;
      } else if (errno != EINTR) {
        return errno;
      }
    }
  }

  const char* path_;
  int flags_;
  mode_t mode_;
};

int open_descriptor(const std::string& path, const OpenRequest& request, const WantedRights& wanted,
                    Descriptor& file, bool& existed) noexcept {
  const mode_t mode = (request.flags & FILE_ATTRIBUTE_READONLY) != 0 ? 0444 : 0666;
  Opener opener(path.c_str(), open_flags(request, wanted), mode);
  existed = true;
  switch (request.disposition) {
    case CREATE_NEW:
      existed = false;
      return opener.create_new(file);
    case CREATE_ALWAYS:
    case OPEN_ALWAYS:
      return opener.open_or_create(file, existed);
    default:
      return opener.open_existing(file);
  }
}

// A file without any write bit is read-only for everybody, also for a user whom the system would let write.
DWORD check_opened(const struct stat& info, const OpenRequest& request, const ShareRequest& share,
                   bool existed) noexcept {
  if (S_ISDIR(info.st_mode) && (request.flags & FILE_FLAG_BACKUP_SEMANTICS) == 0) return ERROR_ACCESS_DENIED;
  const bool read_only = S_ISREG(info.st_mode) && (info.st_mode & kWriteBits) == 0;
  return existed && read_only && (share.uses & kUseWrite) != 0 ? ERROR_ACCESS_DENIED : NO_ERROR;
}

// Reads and writes wait as ever. For a regular file the flag means nothing.
DWORD make_blocking(const Descriptor& file, const struct stat& info) noexcept {
  if (S_ISREG(info.st_mode)) return NO_ERROR;
  const int flags = fcntl(file.get(), F_GETFL);
  const bool done = flags >= 0 && fcntl(file.get(), F_SETFL, flags & ~O_NONBLOCK) == 0;
  return done ? NO_ERROR : error_from_errno(errno);
}

// Truncation waits until the share test is passed, so that a refused open destroys nothing.
DWORD truncate_if_asked(const Descriptor& file, const struct stat& info, const OpenRequest& request,
                        bool existed) noexcept {
  if (!existed || !truncates(request.disposition) || !S_ISREG(info.st_mode)) return NO_ERROR;
  return ftruncate(file.get(), 0) == 0 ? NO_ERROR : error_from_errno(errno);
}

// Read-ahead only where the rules of sharing keep the bytes as they are, in all processes.
bool may_read_ahead(const ShareRequest& share, const ShareLease& lease) noexcept {
  return lease.holds_between_processes() && share.uses == kUseRead && (share.allowed & kUseWrite) == 0;
}

// The current folder may be another one when the last handle is closed.
std::string path_for_later(const std::string& path) {
  std::error_code error;
  const std::filesystem::path absolute = std::filesystem::absolute(path, error);
  return error ? path : absolute.string();
}

}  // namespace

DWORD open_file(const std::string& path, const OpenRequest& request, Ref<KernelObject>& file, bool& existed) {
  if (const DWORD error = check_arguments(request); error != NO_ERROR) return error;
  const WantedRights wanted(request);
  Descriptor descriptor;
  if (const int error = open_descriptor(path, request, wanted, descriptor, existed); error != 0) {
    return path_error_from_errno(error, path.c_str());
  }
  struct stat info;
  if (fstat(descriptor.get(), &info) != 0) return error_from_errno(errno);

  const ShareRequest share = share_request(request, wanted);
  if (const DWORD error = check_opened(info, request, share, existed); error != NO_ERROR) return error;
  if (const DWORD error = make_blocking(descriptor, info); error != NO_ERROR) return error;
  const bool regular = S_ISREG(info.st_mode);
  ShareLease lease;
  if (regular) {
    const DWORD error = ShareLease::acquire(FileIdentity::of(info), share, lease);
    if (error != NO_ERROR) return error;
  }
  if (const DWORD error = truncate_if_asked(descriptor, info, request, existed); error != NO_ERROR)
    return error;
  if ((request.flags & FILE_FLAG_DELETE_ON_CLOSE) != 0) lease.delete_at_last_release(path_for_later(path));

  const bool seekable = regular || S_ISBLK(info.st_mode);
  const bool read_ahead = may_read_ahead(share, lease);
  file = Ref<KernelObject>(
      new FileObject(std::move(descriptor), wanted.file, seekable, read_ahead, std::move(lease)));
  return NO_ERROR;
}

DWORD delete_file(const std::string& path) {
  // Outlives the lease, so that no new file can get the number of this one while the lease is known under it.
  const Descriptor keeper(open(path.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
  struct stat info;
  if (keeper.get() < 0 || fstat(keeper.get(), &info) != 0) return path_error_from_errno(errno, path.c_str());
  if (S_ISDIR(info.st_mode)) return ERROR_ACCESS_DENIED;
  ShareLease lease;
  if (S_ISREG(info.st_mode)) {
    if ((info.st_mode & kWriteBits) == 0) return ERROR_ACCESS_DENIED;
    const DWORD error = ShareLease::acquire(FileIdentity::of(info), {kUseDelete, kAllUses}, lease);
    if (error != NO_ERROR) return error;
  }
  return unlink(path.c_str()) == 0 ? NO_ERROR : path_error_from_errno(errno, path.c_str());
}

}  // namespace zdr::platform
