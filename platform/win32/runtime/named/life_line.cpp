// The locks on the files of named events, and the removal of files that are no longer in use.
#include "platform/win32/runtime/named/life_line.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "platform/win32/runtime/errno_map.h"
#include "platform/win32/runtime/folder_entries.h"
#include "platform/win32/runtime/system_calls.h"

namespace zdr::platform {

namespace {

constexpr int kOpenFlags = O_RDWR | O_CLOEXEC | O_NOFOLLOW;

// The gate is a record lock on the first byte.
bool take_gate(int file, int command) noexcept {
  return set_record_lock(file, command, F_WRLCK, 0, 1);
}

}  // namespace

LifeLine::~LifeLine() {
  if (!file_) return;
  // Without the gate the file is left behind, as after a crash.
  if (!take_gate(file_.get(), F_OFD_SETLKW) || is_removed(file_.get())) return;
  set_flock(file_.get(), LOCK_UN);
  if (is_alone()) unlinkat(folder_, name_.c_str(), 0);
}

DWORD LifeLine::enter(int folder, const std::string& name) {
  folder_ = folder;
  name_ = name;
  for (;;) {
    Descriptor file(openat(folder, name.c_str(), kOpenFlags | O_CREAT, 0600));
    if (!file || !take_gate(file.get(), F_OFD_SETLKW)) return error_from_errno(errno);
    // The last user may have removed the file while this process waited for the gate.
    if (is_removed(file.get())) continue;
    file_ = std::move(file);
    return NO_ERROR;
  }
}

bool LifeLine::is_alone() noexcept {
  return set_flock(file_.get(), LOCK_EX | LOCK_NB);
}

void LifeLine::join() noexcept {
  set_flock(file_.get(), LOCK_SH);
  set_record_lock(file_.get(), F_OFD_SETLK, F_UNLCK, 0, 1);
}

void LifeLine::remove_stale_files(int folder) {
  for_each_entry(folder, [folder](const char* name) {
    LifeLine line;  // its destructor removes the file
    line.folder_ = folder;
    line.name_ = name;
    Descriptor file(openat(folder, name, kOpenFlags));
    if (file && take_gate(file.get(), F_OFD_SETLK)) line.file_ = std::move(file);
  });
}

}  // namespace zdr::platform
