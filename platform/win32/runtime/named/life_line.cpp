// Lock files of named objects.
#include "platform/win32/runtime/named/life_line.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "platform/win32/runtime/errno_map.h"

namespace zdr::platform {

namespace {

constexpr int kOpenFlags = O_RDWR | O_CLOEXEC | O_NOFOLLOW;

bool set_gate(int file, short type) noexcept {
  struct flock gate {};
  gate.l_type = type;
  gate.l_whence = SEEK_SET;
  gate.l_start = 0;
  gate.l_len = 1;
  int result;
  do {
    result = fcntl(file, F_OFD_SETLKW, &gate);
  } while (result != 0 && errno == EINTR);
  return result == 0;
}

bool take_flock(int file, int operation) noexcept {
  int result;
  do {
    result = flock(file, operation);
  } while (result != 0 && errno == EINTR);
  return result == 0;
}

bool is_removed(int file) noexcept {
  struct stat info;
  return fstat(file, &info) == 0 && info.st_nlink == 0;
}

}  // namespace

LifeLine::LifeLine(LifeLine&& other) noexcept
    : folder_(other.folder_),
      lock_(std::exchange(other.lock_, -1)),
      lock_name_(std::move(other.lock_name_)),
      state_name_(std::move(other.state_name_)) {}

LifeLine& LifeLine::operator=(LifeLine&& other) noexcept {
  std::swap(folder_, other.folder_);
  std::swap(lock_, other.lock_);
  lock_name_.swap(other.lock_name_);
  state_name_.swap(other.state_name_);
  return *this;
}

LifeLine::~LifeLine() {
  if (lock_ < 0) return;
  // Without the gate the files are only left behind, as after a crash.
  if (set_gate(lock_, F_WRLCK)) {
    take_flock(lock_, LOCK_UN);
    if (is_alone()) {
      unlinkat(folder_, state_name_.c_str(), 0);
      unlinkat(folder_, lock_name_.c_str(), 0);
    }
  }
  close(lock_);
}

DWORD LifeLine::enter(int folder, const std::string& stem, bool create) {
  folder_ = folder;
  lock_name_ = stem + ".lock";
  state_name_ = stem + ".shm";
  for (;;) {
    lock_ = openat(folder, lock_name_.c_str(), kOpenFlags | (create ? O_CREAT : 0), 0600);
    if (lock_ < 0) return error_from_errno(errno);
    if (!set_gate(lock_, F_WRLCK)) {
      const DWORD error = error_from_errno(errno);
      close(std::exchange(lock_, -1));
      return error;
    }
    // The last user may have removed the file while we waited for the gate.
    if (!is_removed(lock_)) return NO_ERROR;
    close(std::exchange(lock_, -1));
  }
}

bool LifeLine::is_alone() noexcept {
  return take_flock(lock_, LOCK_EX | LOCK_NB);
}

int LifeLine::create_state(size_t bytes) noexcept {
  unlinkat(folder_, state_name_.c_str(), 0);
  const int file = openat(folder_, state_name_.c_str(), kOpenFlags | O_CREAT | O_EXCL, 0600);
  if (file < 0) return -1;
  // Blocks are reserved now: a full memory disk must fail here, not as a fault in the middle of a wait.
  if (const int error = posix_fallocate(file, 0, static_cast<off_t>(bytes)); error != 0) {
    close(file);
    errno = error;
    return -1;
  }
  return file;
}

int LifeLine::open_state() noexcept {
  return openat(folder_, state_name_.c_str(), kOpenFlags);
}

void LifeLine::join() noexcept {
  take_flock(lock_, LOCK_SH);
  set_gate(lock_, F_UNLCK);
}

}  // namespace zdr::platform
