// The registry's content and the file that stores it.
#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "platform/win32/runtime/descriptor.h"
#include "platform/win32/runtime/registry/export_text.h"
#include "platform/win32/runtime/registry/registry_tree.h"

namespace zdr::platform {

// One state of the file. An equal mark means unchanged content: the marked file stays open, so that a
// replacement cannot get its inode number, and an edit in place changes its size or time.
struct FileMark {
  uint64_t device = 0;
  uint64_t number = 0;  // 0: no file
  int64_t size = 0;
  int64_t written_ns = 0;  // since 1970

  bool operator==(const FileMark&) const = default;
};

// Not thread-safe. A caller that saves holds a StoreLock from before its load.
class RegistryStore {
 public:
  // Loads the file if it has changed. After a failure the tree is empty.
  DWORD load();
  // Replaces the file as a whole: at every moment, and after a crash, there is either the old file or the new
  // one. After a failure the file is the old one and the tree must be loaded again.
  DWORD save();
  bool is_loaded() const noexcept { return loaded_; }

  RegistryKey& tree() noexcept { return top_; }

  const std::string& path() const noexcept { return path_; }
  // Why the last load failed; null and 0 if the error code alone describes it.
  const TextFault& fault() const noexcept { return fault_; }
  // The message for the debugger about a failed load; empty if there is none. Returned only once.
  std::u16string take_message() noexcept { return std::exchange(message_, {}); }

 private:
  // Drops a tree that differs from the file.
  void forget() noexcept;
  DWORD read_file();
  DWORD fail(DWORD error, const char* reason, size_t line = 0);
  DWORD replace_file(const std::string& text);

  std::string path_;
  Descriptor file_;  // the one that the tree was loaded from
  FileMark mark_;
  bool loaded_ = false;
  RegistryKey top_;
  TextFault fault_;
  std::u16string message_;
};

// Removes the new file of a process that died before the rename. Only for the holder of the StoreLock.
void remove_leftover(const std::string& file);

}  // namespace zdr::platform
