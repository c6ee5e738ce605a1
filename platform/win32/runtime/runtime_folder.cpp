// Finding, making and checking the runtime folders.
#include "platform/win32/runtime/runtime_folder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <mutex>

namespace zdr::platform {

namespace {

constexpr std::array<const char*, 2> kSubfolders = {"share", "obj"};

bool is_private(int folder) noexcept {
  struct stat info;
  return fstat(folder, &info) == 0 && info.st_uid == geteuid() && (info.st_mode & 077) == 0;
}

// Opens `name` in `parent`, making it if missing; -1 when it is not private.
int open_private_folder(int parent, const char* name) noexcept {
  mkdirat(parent, name, 0700);
  const int folder = openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (folder >= 0 && !is_private(folder)) {
    close(folder);
    return -1;
  }
  return folder;
}

int open_below(const char* base, const char* name) noexcept {
  const int parent = open(base, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (parent < 0) return -1;
  const int folder = open_private_folder(parent, name);
  close(parent);
  return folder;
}

int open_root() noexcept {
  const char* base = std::getenv("XDG_RUNTIME_DIR");
  if (base != nullptr && base[0] == '/') {
    if (const int root = open_below(base, "zdr"); root >= 0) return root;
  }
  char name[32];
  std::snprintf(name, sizeof name, "zdr-%u", static_cast<unsigned>(geteuid()));
  return open_below("/dev/shm", name);
}

int open_subfolder(const char* name) noexcept {
  const int root = open_root();
  if (root < 0) return -1;
  const int folder = open_private_folder(root, name);
  close(root);
  return folder;
}

// A folder that another program has removed can hold no new files.
bool is_usable(int folder) noexcept {
  struct stat info;
  return folder >= 0 && fstat(folder, &info) == 0 && info.st_nlink > 0;
}

}  // namespace

int runtime_folder(RuntimeFolder folder) noexcept {
  static constinit std::mutex mutex;
  static constinit std::array<int, kSubfolders.size()> open_folders = {-1, -1};
  const auto index = static_cast<size_t>(folder);
  std::lock_guard lock(mutex);
  int& descriptor = open_folders[index];
  // The descriptor of a removed folder is replaced but not closed, because another thread may be using it.
  if (!is_usable(descriptor)) descriptor = open_subfolder(kSubfolders[index]);
  return descriptor;
}

}  // namespace zdr::platform
