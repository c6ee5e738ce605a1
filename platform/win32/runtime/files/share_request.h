// Describes an open for share modes: its file, its uses of the file, and the uses that it allows to others.
#pragma once

#include <sys/stat.h>

#include <cstdint>

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

  bool operator==(const ShareRequest&) const = default;
};

}  // namespace zdr::platform
