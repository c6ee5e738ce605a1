// Exclusive creation, the lock of the writer, and the rename.
#include "platform/win32/new_file.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <iterator>
#include <utility>

#include "platform/win32/runtime/descriptor.h"
#include "platform/win32/runtime/system_calls.h"

namespace zdr::platform {

namespace {

// Another program that looks whether the file is in use holds its lock for a moment.
constexpr int kLockAttempts = 100;
constexpr int kLockPauseMs = 5;
// How often a file may appear and vanish between the steps of a creation.
constexpr int kCreateAttempts = 10;

int error_of(int result) noexcept {
  return result == 0 ? 0 : errno;
}

// 0 also where the file system has no locks: there, only exclusive creation protects the file.
int try_lock(int file) noexcept {
  return set_flock(file, LOCK_EX | LOCK_NB) || errno != EWOULDBLOCK ? 0 : EBUSY;
}

int lock_soon(int file) noexcept {
  int error = try_lock(file);
  for (int i = 0; error != 0 && i < kLockAttempts; ++i) {
    poll(nullptr, 0, kLockPauseMs);
    error = try_lock(file);
  }
  return error;
}

// Returns EBUSY if a program that writes the file holds its lock, and EEXIST if none does. In the second case
// `holder` has the lock, if the entry is a file that can be opened.
int use_of_existing(const char* path, Descriptor& holder) noexcept {
  struct stat info;
  if (lstat(path, &info) != 0) return errno;
  if (!S_ISREG(info.st_mode)) return EEXIST;
  // O_NONBLOCK, because the entry may have become a pipe.
  holder = Descriptor(open(path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (!holder) return errno == ENOENT ? ENOENT : EEXIST;
  return try_lock(holder.get()) == 0 ? EEXIST : EBUSY;
}

// Removes the entry unless a program writes it. 0 if the name may be free now.
int remove_unused(const char* path) noexcept {
  Descriptor holder;
  const int use = use_of_existing(path, holder);
  if (use == ENOENT) return 0;
  if (use != EEXIST) return use;
  const int error = error_of(unlink(path));
  return error == ENOENT ? 0 : error;
}

// Where the system cannot rename without replacing, an empty file reserves the name first.
int rename_onto_reserved(const char* from, const char* to) noexcept {
  const Descriptor reserved(open(to, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666));
  if (!reserved) return errno;
  const int error = error_of(rename(from, to));
  if (error != 0) unlink(to);
  return error;
}

int rename_to_free_name(const char* from, const char* to) noexcept {
  const int error = error_of(renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE));
  const bool is_unsupported = error == EINVAL || error == ENOSYS || error == EOPNOTSUPP;
  return is_unsupported ? rename_onto_reserved(from, to) : error;
}

}  // namespace

NewFile::~NewFile() {
  close();
}

bool NewFile::has_name(const char* path) const noexcept {
  struct stat own;
  struct stat named;
  return fstat(descriptor_, &own) == 0 && lstat(path, &named) == 0 && own.st_dev == named.st_dev &&
         own.st_ino == named.st_ino;
}

// ESTALE if another program has removed the new file before it was locked.
int NewFile::create_and_lock(const char* path) noexcept {
  descriptor_ = open(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
  if (descriptor_ < 0) return errno;
  const int error = lock_soon(descriptor_);
  if (error == 0 && has_name(path)) return 0;
  close();
  return error != 0 ? error : ESTALE;
}

int NewFile::create(const std::string& path, bool replace) {
  path_ = path;
  int error = 0;
  for (int i = 0; i < kCreateAttempts; ++i) {
    error = create_and_lock(path_.c_str());
    if (error == ESTALE) continue;
    if (error != EEXIST) return error;
    Descriptor holder;
    const int obstacle = replace ? remove_unused(path_.c_str()) : use_of_existing(path_.c_str(), holder);
    if (obstacle != 0 && obstacle != ENOENT) return obstacle;
  }
  return error == ESTALE ? EBUSY : error;
}

int NewFile::write(uint64_t offset, std::span<const uint8_t> first, std::span<const uint8_t> second,
                   uint64_t& written) noexcept {
  const auto part_of = [](std::span<const uint8_t> bytes) {
    return iovec{const_cast<uint8_t*>(bytes.data()), bytes.size()};
  };
  while (!first.empty() || !second.empty()) {
    const iovec parts[] = {part_of(first), part_of(second)};
    const ssize_t moved = repeat_interrupted(
        [&] { return pwritev(descriptor_, parts, std::size(parts), static_cast<off_t>(offset)); });
    if (moved < 0) return errno;
    if (moved == 0) return ENOSPC;
    const auto count = static_cast<size_t>(moved);
    offset += count;
    written += count;
    const size_t of_first = std::min(count, first.size());
    first = first.subspan(of_first);
    second = second.subspan(count - of_first);
  }
  return 0;
}

int NewFile::flush() noexcept {
  const int error = error_of(repeat_interrupted([&] { return fsync(descriptor_); }));
  return error == EINVAL || error == ENOTSUP ? 0 : error;  // not every file system can
}

int NewFile::publish(const std::string& final_path, bool replace) noexcept {
  if (!has_name(path_.c_str())) return ESTALE;
  return replace ? error_of(rename(path_.c_str(), final_path.c_str()))
                 : rename_to_free_name(path_.c_str(), final_path.c_str());
}

int NewFile::close() noexcept {
  const int file = std::exchange(descriptor_, -1);
  return file < 0 ? 0 : error_of(::close(file));
}

void NewFile::discard() noexcept {
  if (has_name(path_.c_str())) unlink(path_.c_str());
  close();
}

}  // namespace zdr::platform
