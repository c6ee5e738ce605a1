// Share modes: what an open file lets other opens of the same file do, in this process and in others.
//
// An open asks for a set of uses (read, write, delete) and allows a set to others. Two opens are compatible
// when each asks only for what the other allows. Opens are matched by device and inode, so links do not
// matter. Between processes the state lives in record locks on a side file of the runtime folder: they vanish
// with their descriptor, so a crash leaves nothing behind, and the data file itself is never locked. Without
// a runtime folder, or where the system gives no record locks, only this process is looked at.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <string>

#include "platform/win32/win32_types.h"

namespace zdr::platform {

// A set of uses; the bits are those of FILE_SHARE_*.
using UseSet = uint8_t;
constexpr UseSet kUseRead = 1;
constexpr UseSet kUseWrite = 2;
constexpr UseSet kUseDelete = 4;
constexpr UseSet kAllUses = 7;

struct FileIdentity {
  dev_t device = 0;
  ino_t inode = 0;

  static FileIdentity of(const struct stat& info) noexcept { return {info.st_dev, info.st_ino}; }
  bool operator==(const FileIdentity&) const = default;
};

struct ShareRequest {
  UseSet uses = 0;
  UseSet allowed = kAllUses;
};

// Holds one open's place among the others until it is destroyed.
class ShareLease {
 public:
  ShareLease() noexcept = default;
  ShareLease(ShareLease&& other) noexcept;
  ShareLease& operator=(ShareLease&& other) noexcept;
  ~ShareLease() { release(); }

  // NO_ERROR, ERROR_SHARING_VIOLATION, or ERROR_ACCESS_DENIED when the file is waiting to be deleted. A
  // request for no use conflicts with no other and holds nothing. May throw bad_alloc.
  static DWORD acquire(const FileIdentity& file, const ShareRequest& request, ShareLease& lease);

  // Whether other processes know of this open, too.
  bool holds_between_processes() const noexcept { return side_file_ >= 0; }

  // The file goes with the last handle of this process: `path`, which is absolute, is removed then, and new
  // opens are refused until then.
  void delete_at_last_release(std::string path);

  void release() noexcept;

 private:
  FileIdentity file_;
  ShareRequest request_;
  bool held_ = false;
  int side_file_ = -1;
};

}  // namespace zdr::platform
