// Side files: six bytes represent the uses and denials of the current opens, a seventh is the gate.
//
// Each open has a descriptor of its own, because locks of two descriptors conflict even within one process.
// With the gate taken, an open checks whether any other denies what it uses or uses what it denies, and then
// takes shared locks on its own uses and denials. An open that ends takes the gate and removes the side file
// if no other lock is left; opens that still wait for its gate then notice that the file was removed, and
// create a new one. The first open of a process removes the side files that killed programs left.
#include "platform/win32/runtime/files/share_side_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <utility>

#include "platform/win32/runtime/folder_entries.h"
#include "platform/win32/runtime/runtime_folder.h"
#include "platform/win32/runtime/system_calls.h"
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

// True if another open holds a lock in the range.
bool is_held_elsewhere(int file, off_t start, off_t length) noexcept {
  struct flock lock = record_range(F_WRLCK, start, length);
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

// False if the system has no room for more locks; those taken are dropped with the descriptor.
bool take_locks(int file, const ShareRequest& request) noexcept {
  bool taken = true;
  for (int i = 0; i < kClasses; ++i) {
    const UseSet use = static_cast<UseSet>(1u << i);
    if ((request.uses & use) != 0) taken &= set_record_lock(file, F_OFD_SETLK, F_RDLCK, kUseBytes + i, 1);
    if ((request.allowed & use) == 0) taken &= set_record_lock(file, F_OFD_SETLK, F_RDLCK, kDenyBytes + i, 1);
  }
  return taken;
}

// The side file, created if missing, with its gate taken; empty if it cannot be opened or locked.
Descriptor open_with_gate(int folder, const char* name) noexcept {
  for (;;) {
    Descriptor file(openat(folder, name, O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!file || !set_record_lock(file.get(), F_OFD_SETLKW, F_WRLCK, kGateByte, 1)) return {};
    if (!is_removed(file.get())) return file;
  }
}

// Requires the gate.
void remove_if_unused(int folder, const char* name, int file) noexcept {
  if (!is_removed(file) && !is_held_elsewhere(file, kUseBytes, 2 * kClasses)) unlinkat(folder, name, 0);
}

void remove_stale_files_once(int folder) noexcept {
  static constinit std::atomic_flag done;
  if (folder < 0 || done.test_and_set()) return;
  for_each_entry(folder, [folder](const char* name) {
    const Descriptor file(openat(folder, name, O_RDWR | O_CLOEXEC | O_NOFOLLOW));
    if (file && set_record_lock(file.get(), F_OFD_SETLK, F_WRLCK, kGateByte, 1)) {
      remove_if_unused(folder, name, file.get());
    }
  });
}

void report_once_that_sharing_is_local() noexcept {
  static constinit std::atomic<bool> reported{false};
  if (!reported.exchange(true)) {
    OutputDebugStringW(
        u"zdr: no private runtime folder or no locks; share modes hold within this process only\n");
  }
}

}  // namespace

DWORD lock_side_file(const FileIdentity& file, const ShareRequest& request, Descriptor& side_file) noexcept {
  const int folder = runtime_folder(RuntimeFolder::kShareModes);
  remove_stale_files_once(folder);
  Descriptor opened = folder < 0 ? Descriptor() : open_with_gate(folder, SideFileName(file).text);
  if (opened && conflicts(opened.get(), request)) return ERROR_SHARING_VIOLATION;
  if (!opened || !take_locks(opened.get(), request)) {
    report_once_that_sharing_is_local();
    return NO_ERROR;
  }
  set_record_lock(opened.get(), F_OFD_SETLK, F_UNLCK, kGateByte, 1);
  side_file = std::move(opened);
  return NO_ERROR;
}

void unlock_side_file(const FileIdentity& file, Descriptor side_file) noexcept {
  const int folder = runtime_folder(RuntimeFolder::kShareModes);
  const int lock = side_file.get();
  if (folder < 0 || !set_record_lock(lock, F_OFD_SETLKW, F_WRLCK, kGateByte, 1)) return;
  remove_if_unused(folder, SideFileName(file).text, lock);
}

}  // namespace zdr::platform
