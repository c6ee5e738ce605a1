// System calls that a signal may interrupt, and the locks on files built on them.
#pragma once

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>

namespace zdr::platform {

// The result of `call()`, repeated while a signal interrupts it.
template <class Call>
auto repeat_interrupted(Call call) noexcept {
  auto result = call();
  while (result < 0 && errno == EINTR) result = call();
  return result;
}

// LOCK_SH, LOCK_EX or LOCK_UN on the whole file, with LOCK_NB without waiting.
inline bool set_flock(int file, int operation) noexcept {
  return repeat_interrupted([&] { return flock(file, operation); }) == 0;
}

inline struct flock record_range(short type, off_t start, off_t length) noexcept {
  struct flock range {};
  range.l_type = type;
  range.l_whence = SEEK_SET;
  range.l_start = start;
  range.l_len = length;
  return range;
}

// `command`: F_OFD_SETLKW to wait for the lock, F_OFD_SETLK to try. The lock belongs to the open descriptor.
inline bool set_record_lock(int file, int command, short type, off_t start, off_t length) noexcept {
  struct flock range = record_range(type, start, length);
  return repeat_interrupted([&] { return fcntl(file, command, &range); }) == 0;
}

// True if the file has lost its last name, for example while the caller waited for a lock on it.
inline bool is_removed(int file) noexcept {
  struct stat info;
  return fstat(file, &info) == 0 && info.st_nlink == 0;
}

}  // namespace zdr::platform
