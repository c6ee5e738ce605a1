// Compares the share modes of the files that are open in this process.
#include "platform/win32/runtime/files/share_modes.h"

#include <algorithm>
#include <mutex>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/win32/runtime/files/share_side_file.h"

namespace zdr::platform {

namespace {

struct IdentityHash {
  size_t operator()(const FileIdentity& file) const noexcept {
    return static_cast<size_t>(file.inode * uint64_t{0x9E3779B97F4A7C15} ^ file.device);
  }
};

struct OpenTable {
  std::mutex mutex;
  std::unordered_map<FileIdentity, std::vector<ShareRequest>, IdentityHash> files;
};

// Never destroyed: modules may close files while the process ends.
OpenTable& open_table() {
  static OpenTable* const table = new OpenTable;
  return *table;
}

bool compatible(const ShareRequest& a, const ShareRequest& b) noexcept {
  return (a.uses & ~b.allowed) == 0 && (b.uses & ~a.allowed) == 0;
}

DWORD add_open(const FileIdentity& file, const ShareRequest& request) {
  OpenTable& table = open_table();
  std::lock_guard lock(table.mutex);
  std::vector<ShareRequest>& opens = table.files[file];
  for (const ShareRequest& other : opens) {
    if (!compatible(request, other)) return ERROR_SHARING_VIOLATION;
  }
  opens.push_back(request);
  return NO_ERROR;
}

void remove_open(const FileIdentity& file, const ShareRequest& request) noexcept {
  OpenTable& table = open_table();
  std::lock_guard lock(table.mutex);
  const auto found = table.files.find(file);
  if (found == table.files.end()) return;
  auto& opens = found->second;
  const auto same = std::find(opens.begin(), opens.end(), request);
  if (same != opens.end()) opens.erase(same);
  if (opens.empty()) table.files.erase(found);
}

}  // namespace

ShareLease::ShareLease(ShareLease&& other) noexcept
    : file_(other.file_),
      request_(other.request_),
      held_(std::exchange(other.held_, false)),
      side_file_(std::move(other.side_file_)) {}

ShareLease& ShareLease::operator=(ShareLease&& other) noexcept {
  std::swap(file_, other.file_);
  std::swap(request_, other.request_);
  std::swap(held_, other.held_);
  std::swap(side_file_, other.side_file_);
  return *this;
}

DWORD ShareLease::acquire(const FileIdentity& file, const ShareRequest& request, ShareLease& lease) {
  if (const DWORD error = add_open(file, request); error != NO_ERROR) return error;
  lease.file_ = file;
  lease.request_ = request;
  lease.held_ = true;
  const DWORD error = lock_side_file(file, request, lease.side_file_);
  if (error != NO_ERROR) lease.release();
  return error;
}

void ShareLease::release() noexcept {
  if (!std::exchange(held_, false)) return;
  remove_open(file_, request_);
  if (side_file_) unlock_side_file(file_, std::exchange(side_file_, Descriptor()));
}

}  // namespace zdr::platform
