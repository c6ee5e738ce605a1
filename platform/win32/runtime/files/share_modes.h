// Share modes: which further opens of a file an open file allows, in this process and in others.
//
// An open requests a set of uses (read, write, delete) and allows a set to other opens. Two opens are
// compatible when each requests only what the other allows. Opens are matched by device and inode, so links
// do not matter. Between processes, the state is held in record locks on a side file in the runtime folder:
// they vanish with their descriptor, so a crash leaves nothing behind, and the data file itself is never
// locked. Without a runtime folder, or where the system grants no record locks, only opens of this process
// are compared.
#pragma once

#include "platform/win32/runtime/descriptor.h"
#include "platform/win32/runtime/files/share_request.h"
#include "platform/win32/win32_types.h"

namespace zdr::platform {

// Counts one open among those of its file until it is destroyed.
class ShareLease {
 public:
  ShareLease() noexcept = default;
  ShareLease(ShareLease&& other) noexcept;
  ShareLease& operator=(ShareLease&& other) noexcept;
  ~ShareLease() { release(); }

  // NO_ERROR or ERROR_SHARING_VIOLATION. May throw bad_alloc.
  static DWORD acquire(const FileIdentity& file, const ShareRequest& request, ShareLease& lease);

  // True if other processes see this open too.
  bool holds_between_processes() const noexcept { return static_cast<bool>(side_file_); }

  void release() noexcept;

 private:
  FileIdentity file_;
  ShareRequest request_;
  bool held_ = false;
  Descriptor side_file_;
};

}  // namespace zdr::platform
