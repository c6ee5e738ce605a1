// Lists a folder of state shared between processes.
#pragma once

#include <dirent.h>
#include <fcntl.h>

#include <memory>

#include "platform/win32/runtime/descriptor.h"

namespace zdr::platform {

struct CloseFolder {
  void operator()(DIR* folder) const noexcept { closedir(folder); }
};

// Calls `visit(name)`, which may throw, for each entry, in any order; entries that appear or go meanwhile may
// be missed. Does nothing if the folder cannot be listed.
template <class Visit>
void for_each_entry(int folder, Visit visit) {
  Descriptor own(openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  const std::unique_ptr<DIR, CloseFolder> list(own ? fdopendir(own.get()) : nullptr);
  if (!list) return;
  own.release();
  while (const dirent* entry = readdir(list.get())) visit(entry->d_name);
}

}  // namespace zdr::platform
