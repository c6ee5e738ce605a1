// Side files: six bytes stand for the uses and denials of the living opens, a seventh is the gate.
//
// Each open has a descriptor of its own, because locks of two descriptors conflict even within one process.
// Behind the gate an open asks whether anyone denies what it uses or uses what it denies, and then takes
// shared locks on its own uses and denials. A side file is removed behind the gate by whoever finds no other
// lock; those still waiting for the gate then notice that the file has no name left, and open it anew.
#include "platform/win32/runtime/files/share_side_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>

#include "platform/win32/runtime/runtime_folder.h"
#include "platform/win32/win32_error.h"

namespace zdr::platform {

namespace {

constexpr int kClasses = 3;  // read, write, delete
constexpr off_t kUseBytes = 0;
constexpr off_t kDenyBytes = kClasses;
constexpr off_t kGateByte = 2 * kClasses;

struct SideFileName {
  char text[48];

  explicit SideFileName(const FileIdentity& file) noexcept {
    std::snprintf(text, sizeof text, "%llx-%llx", static_cast<unsigned long long>(file.device),
                  static_cast<unsigned long long>(file.inode));
  }
};

struct flock range(short type, off_t start, off_t length) noexcept {
  struct flock lock {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = start;
  lock.l_len = length;
  return lock;
}

bool set_lock(int file, int command, short type, off_t start, off_t length) noexcept {
  struct flock lock = range(type, start, length);
  int result;
  do {
    result = fcntl(file, command, &lock);
  } while (result != 0 && errno == EINTR);
  return result == 0;
}

// Whether another open holds a lock in the range.
bool is_held_elsewhere(int file, off_t start, off_t length) noexcept {
  struct flock lock = range(F_WRLCK, start, length);
  return fcntl(file, F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

bool conflicts(int file, const ShareRequest& request) noexcept {
  for (int i = 0; i < kClasses; ++i) {
    const UseSet use = static_cast<UseSet>(1u << i);
    if ((request.uses & use) != 0 && is_held_elsewhere(file, kDenyBytes + i, 1)) return true;
    if ((request.allowed & use) == 0 && is_held_elsewhere(file, kUseBytes + i, 1)) return true;
  }
  return false;
}

// False when the system has no room for more locks; those taken go with the descriptor.
bool take_locks(int file, const ShareRequest& request) noexcept {
  bool taken = true;
  for (int i = 0; i < kClasses; ++i) {
    const UseSet use = static_cast<UseSet>(1u << i);
    if ((request.uses & use) != 0) taken &= set_lock(file, F_OFD_SETLK, F_RDLCK, kUseBytes + i, 1);
    if ((request.allowed & use) == 0) taken &= set_lock(file, F_OFD_SETLK, F_RDLCK, kDenyBytes + i, 1);
  }
  return taken;
}

bool has_no_name(int file) noexcept {
  struct stat info;
  return fstat(file, &info) == 0 && info.st_nlink == 0;
}

// The side file, made when it is missing, with its gate taken; -1 when it cannot be had.
int open_behind_gate(int folder, const char* name) noexcept {
  for (;;) {
    const int file = openat(folder, name, O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (file < 0) return -1;
    if (set_lock(file, F_OFD_SETLKW, F_WRLCK, kGateByte, 1) && !has_no_name(file)) return file;
    const bool retry = has_no_name(file);
    close(file);
    if (!retry) return -1;
  }
}

void remove_if_unused(int folder, const char* name, int file) noexcept {
  if (!is_held_elsewhere(file, kUseBytes, 2 * kClasses)) unlinkat(folder, name, 0);
}

void tell_once_that_sharing_is_local() noexcept {
  static constinit std::atomic<bool> told{false};
  if (!told.exchange(true)) {
    OutputDebugStringW(
        u"zdr: no private runtime folder or no locks; share modes hold within this process only\n");
  }
}

}  // namespace

DWORD lock_side_file(const FileIdentity& file, const ShareRequest& request, int& side_file) noexcept {
  side_file = -1;
  const int folder = runtime_folder(RuntimeFolder::kShareModes);
  const SideFileName name(file);
  const int opened = folder < 0 ? -1 : open_behind_gate(folder, name.text);
  if (opened < 0) {
    tell_once_that_sharing_is_local();
    return NO_ERROR;
  }
  if (conflicts(opened, request)) {
    close(opened);
    return ERROR_SHARING_VIOLATION;
  }
  if (!take_locks(opened, request)) {
    close(opened);
    tell_once_that_sharing_is_local();
    return NO_ERROR;
  }
  set_lock(opened, F_OFD_SETLK, F_UNLCK, kGateByte, 1);
  side_file = opened;
  return NO_ERROR;
}

void unlock_side_file(const FileIdentity& file, int side_file) noexcept {
  const int folder = runtime_folder(RuntimeFolder::kShareModes);
  if (folder >= 0 && set_lock(side_file, F_OFD_SETLKW, F_WRLCK, kGateByte, 1) && !has_no_name(side_file)) {
    remove_if_unused(folder, SideFileName(file).text, side_file);
  }
  close(side_file);
}

}  // namespace zdr::platform
