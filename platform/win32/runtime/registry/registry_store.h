// The registry's content and the file that it is kept in.
#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "platform/win32/runtime/descriptor.h"
#include "platform/win32/runtime/registry/export_text.h"
#include "platform/win32/runtime/registry/registry_tree.h"

namespace zdr::platform {

// One state of the file. An equal mark means unchanged content: the file behind it is kept open, so that a
// replacement cannot have its number, and an edit in place changes its size or time.
struct FileMark {
  uint64_t device = 0;
  uint64_t number = 0;  // 0: no file
  int64_t size = 0;
  int64_t written_ns = 0;  // since 1970

  bool operator==(const FileMark&) const = default;
};

// Not safe for threads; whoever saves holds a StoreLock from before the load.
class RegistryStore {
 public:
  // Brings the tree up to date with the file. After a failure the tree is empty.
  DWORD load();
  // Replaces the file by the tree as a whole: at every moment, and after a crash, there is the old file or
  // the new one. After a failure the file is the old one and the tree is to be loaded again.
  DWORD save();
  // Drops the tree, because it does not have the content of the file.
  void forget() noexcept;

  RegistryKey& tree() noexcept { return top_; }
  FILETIME written() const noexcept;

  const std::string& path() const noexcept { return path_; }
  // What the last failed load stumbled over. Null and 0 when the system's error says it all.
  const TextFault& fault() const noexcept { return fault_; }
  // What a failed load has to say to a debugger, once; empty for nothing.
  std::u16string take_complaint() noexcept { return std::exchange(complaint_, {}); }

 private:
  DWORD read_file();
  DWORD fail(DWORD error, const char* reason, size_t line = 0);
  DWORD replace_file(const std::string& text);

  std::string path_;
  Descriptor file_;  // of the tree's content
  FileMark mark_;
  bool loaded_ = false;
  RegistryKey top_;
  TextFault fault_;
  std::u16string complaint_;
};

}  // namespace zdr::platform
