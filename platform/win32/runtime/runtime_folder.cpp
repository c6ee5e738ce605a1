// Finding, making and checking the runtime folders.
#include "platform/win32/runtime/runtime_folder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <utility>

#include "platform/win32/runtime/descriptor.h"

namespace zdr::platform {

namespace {

constexpr std::array<const char*, 2> kSubfolders = {"share", "obj"};

bool is_private(int folder) noexcept {
  struct stat info;
  return fstat(folder, &info) == 0 && info.st_uid == geteuid() && (info.st_mode & 077) == 0;
}

// Opens `name` in `parent`, making it if missing. Holds nothing if it is not private.
Descriptor open_private_folder(int parent, const char* name) noexcept {
  mkdirat(parent, name, 0700);
  Descriptor folder(openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  return folder && is_private(folder.get()) ? std::move(folder) : Descriptor();
}

Descriptor open_below(const char* base, const char* name) noexcept {
  const Descriptor parent(open(base, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return parent ? open_private_folder(parent.get(), name) : Descriptor();
}

Descriptor open_root() noexcept {
  const char* base = std::getenv("XDG_RUNTIME_DIR");
  if (base != nullptr && base[0] == '/') {
    if (Descriptor root = open_below(base, "zdr")) return root;
  }
  char name[32];
  std::snprintf(name, sizeof name, "zdr-%u", static_cast<unsigned>(geteuid()));
  return open_below("/dev/shm", name);
}

Descriptor open_subfolder(const char* name) noexcept {
  const Descriptor root = open_root();
  return root ? open_private_folder(root.get(), name) : Descriptor();
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
  if (!is_usable(descriptor)) descriptor = open_subfolder(kSubfolders[index]).release();
  return descriptor;
}

}  // namespace zdr::platform
