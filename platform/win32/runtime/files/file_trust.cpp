// Judges files by owner and mode.
#include "platform/win32/file_trust.h"

#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstring>

namespace zdr::platform {

namespace {

using NameBuffer = std::array<char, 4096>;

// Where each user has a group of their own, files are often made writable for it.
bool is_own_group(gid_t group, uid_t owner) noexcept {
  NameBuffer user_names;
  NameBuffer group_names;
  passwd user{};
  struct group members {};
  passwd* found_user = nullptr;
  struct group* found_group = nullptr;
  getpwuid_r(owner, &user, user_names.data(), user_names.size(), &found_user);
  getgrgid_r(group, &members, group_names.data(), group_names.size(), &found_group);
  if (found_user == nullptr || found_group == nullptr || std::strcmp(user.pw_name, members.gr_name) != 0) {
    return false;
  }
  for (char** member = members.gr_mem; *member != nullptr; ++member) {
    if (std::strcmp(*member, user.pw_name) != 0) return false;
  }
  return true;
}

}  // namespace

const char* distrust_reason(const std::string& path) noexcept {
  struct stat info;
  if (stat(path.c_str(), &info) != 0) return "cannot be examined";
  if (info.st_uid != geteuid() && info.st_uid != 0) return "belongs to another user";
  const bool others_write = (info.st_mode & S_IWOTH) != 0;
  const bool group_writes = (info.st_mode & S_IWGRP) != 0 && !is_own_group(info.st_gid, info.st_uid);
  return others_write || group_writes ? "can be written by other users" : nullptr;
}

}  // namespace zdr::platform
