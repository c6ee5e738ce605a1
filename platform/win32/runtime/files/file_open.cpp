// The dispositions, rights and share test of CreateFile, and DeleteFile.
#include "platform/win32/runtime/files/file_open.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/win32/runtime/errno_map.h"

namespace zdr::platform {

namespace {

// The number of attempts when a file appears and vanishes between two of them.
constexpr int kOpenAttempts = 100;

constexpr mode_t kWriteBits = 0222;

FileRights rights_of(const OpenRequest& request) noexcept {
  return {(request.access & GENERIC_READ) != 0, (request.access & GENERIC_WRITE) != 0};
}

// Truncation counts as writing, whatever the requested access is.
bool writes(const OpenRequest& request) noexcept {
  return rights_of(request).write || request.disposition == CREATE_ALWAYS;
}

ShareRequest share_request(const OpenRequest& request) noexcept {
  UseSet uses = 0;
  if (rights_of(request).read) uses |= kUseRead;
  if (writes(request)) uses |= kUseWrite;
  return {uses, static_cast<UseSet>(request.share & kAllUses)};
}

DWORD check_arguments(const OpenRequest& request) noexcept {
  const bool known_disposition = request.disposition == CREATE_ALWAYS ||
                                 request.disposition == OPEN_EXISTING || request.disposition == OPEN_ALWAYS;
  const bool known_access = request.access != 0 && (request.access & ~(GENERIC_READ | GENERIC_WRITE)) == 0;
  const bool known_flags = (request.flags & ~FILE_ATTRIBUTE_NORMAL) == 0;
  return known_disposition && known_access && known_flags ? NO_ERROR : ERROR_INVALID_PARAMETER;
}

int open_flags(const OpenRequest& request) noexcept {
  // O_NONBLOCK, because the other end of a pipe may never be opened.
  constexpr int kFlags = O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
  if (!writes(request)) return kFlags | O_RDONLY;
  return kFlags | (rights_of(request).read ? O_RDWR : O_WRONLY);
}

bool is_link(const char* path) noexcept {
  struct stat info;
  return lstat(path, &info) == 0 && S_ISLNK(info.st_mode);
}

// Opens or creates a file. The functions return 0 with the descriptor, or an errno.
class Opener {
 public:
  Opener(const char* path, int flags) noexcept : path_(path), flags_(flags) {}

  int open_existing(Descriptor& file) noexcept { return attempt(0, file); }

  // Determines reliably whether the file existed: tries exclusive creation first, then a plain open, and both
  // again if the file vanished between the two.
  int open_or_create(Descriptor& file, bool& existed) noexcept {
    for (int i = 0; i < kOpenAttempts; ++i) {
      existed = false;
      int error = attempt(O_CREAT | O_EXCL, file);
      if (error != EEXIST) return error;
      existed = true;
      error = attempt(0, file);
      if (error != ENOENT) return error;
      // Creation found a symbolic link whose target is missing: the target is created.
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
      const int number = open(path_, flags, 0666);
      if (number >= 0) {
        file = Descriptor(number);
        return 0;
      }
      // Another program holds a lease on the regular file. The next attempt waits for it; the kernel limits
      // that wait.
      if (errno == EWOULDBLOCK && (flags & O_NONBLOCK) != 0) {
        flags &= ~O_NONBLOCK;
      } else if (errno != EINTR) {
        return errno;
      }
    }
  }

  const char* path_;
  int flags_;
};

int open_descriptor(const std::string& path, const OpenRequest& request, Descriptor& file,
                    bool& existed) noexcept {
  Opener opener(path.c_str(), open_flags(request));
  existed = true;
  return request.disposition == OPEN_EXISTING ? opener.open_existing(file)
                                              : opener.open_or_create(file, existed);
}

// A file without any write bit is read-only for every user, even one that the kernel would let write.
DWORD check_opened(const struct stat& info, const ShareRequest& share, bool existed) noexcept {
  if (S_ISDIR(info.st_mode)) return ERROR_ACCESS_DENIED;
  const bool read_only = S_ISREG(info.st_mode) && (info.st_mode & kWriteBits) == 0;
  return existed && read_only && (share.uses & kUseWrite) != 0 ? ERROR_ACCESS_DENIED : NO_ERROR;
}

// Reads and writes block as usual. The flag has no effect on regular files.
DWORD make_blocking(const Descriptor& file, const struct stat& info) noexcept {
  if (S_ISREG(info.st_mode)) return NO_ERROR;
  const int flags = fcntl(file.get(), F_GETFL);
  const bool done = flags >= 0 && fcntl(file.get(), F_SETFL, flags & ~O_NONBLOCK) == 0;
  return done ? NO_ERROR : error_from_errno(errno);
}

// Truncates after the share test, so that a refused open destroys nothing.
DWORD truncate_if_requested(const Descriptor& file, const struct stat& info, const OpenRequest& request,
                            bool existed) noexcept {
  if (!existed || request.disposition != CREATE_ALWAYS || !S_ISREG(info.st_mode)) return NO_ERROR;
  return ftruncate(file.get(), 0) == 0 ? NO_ERROR : error_from_errno(errno);
}

// Read-ahead is used only where share modes keep the bytes unchanged, in all processes.
bool may_read_ahead(const ShareRequest& share, const ShareLease& lease) noexcept {
  return lease.holds_between_processes() && share.uses == kUseRead && (share.allowed & kUseWrite) == 0;
}

}  // namespace

DWORD open_file(const std::string& path, const OpenRequest& request, Ref<KernelObject>& file, bool& existed) {
  if (const DWORD error = check_arguments(request); error != NO_ERROR) return error;
  Descriptor descriptor;
  if (const int error = open_descriptor(path, request, descriptor, existed); error != 0) {
    return path_error_from_errno(error, path.c_str());
  }
  struct stat info;
  if (fstat(descriptor.get(), &info) != 0) return error_from_errno(errno);

  const ShareRequest share = share_request(request);
  if (const DWORD error = check_opened(info, share, existed); error != NO_ERROR) return error;
  if (const DWORD error = make_blocking(descriptor, info); error != NO_ERROR) return error;
  const bool regular = S_ISREG(info.st_mode);
  ShareLease lease;
  if (regular) {
    const DWORD error = ShareLease::acquire(FileIdentity::of(info), share, lease);
    if (error != NO_ERROR) return error;
  }
  if (const DWORD error = truncate_if_requested(descriptor, info, request, existed); error != NO_ERROR)
    return error;

  const bool seekable = regular || S_ISBLK(info.st_mode);
  const bool read_ahead = may_read_ahead(share, lease);
  const uint64_t size = regular ? static_cast<uint64_t>(info.st_size) : 0;
  file = Ref<KernelObject>(new FileObject(std::move(descriptor), rights_of(request), size, seekable,
                                          read_ahead, std::move(lease)));
  return NO_ERROR;
}

DWORD delete_file(const std::string& path) {
  // Closed after the lease is released, so that no new file can get this inode number while the lease exists.
  const Descriptor held_open(open(path.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
  struct stat info;
  if (held_open.get() < 0 || fstat(held_open.get(), &info) != 0)
    return path_error_from_errno(errno, path.c_str());
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
