// The in-process list of opens; side files are in share_side_file.cpp.
#include "platform/win32/runtime/files/share_modes.h"

#include <unistd.h>

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
    return static_cast<size_t>(file.inode) * 0x9E3779B97F4A7C15u ^ static_cast<size_t>(file.device);
  }
};

struct OpenFiles {
  std::vector<ShareRequest> opens;
  std::string delete_path;  // not empty: waiting for its last handle
};

struct OpenTable {
  std::mutex mutex;
  std::unordered_map<FileIdentity, OpenFiles, IdentityHash> files;
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
  OpenFiles& entry = table.files[file];
  if (!entry.delete_path.empty()) return ERROR_ACCESS_DENIED;
  for (const ShareRequest& other : entry.opens) {
    if (!compatible(request, other)) return ERROR_SHARING_VIOLATION;
  }
  entry.opens.push_back(request);
  return NO_ERROR;
}

bool is_waiting_to_be_deleted(const FileIdentity& file) noexcept {
  OpenTable& table = open_table();
  std::lock_guard lock(table.mutex);
  const auto found = table.files.find(file);
  return found != table.files.end() && !found->second.delete_path.empty();
}

// The path still names the same file, not one that took its place.
void remove_if_same(const std::string& path, const FileIdentity& file) noexcept {
  struct stat info;
  if (stat(path.c_str(), &info) == 0 && FileIdentity::of(info) == file) unlink(path.c_str());
}

void remove_open(const FileIdentity& file, const ShareRequest& request) noexcept {
  OpenTable& table = open_table();
  std::lock_guard lock(table.mutex);
  const auto found = table.files.find(file);
  if (found == table.files.end()) return;
  auto& opens = found->second.opens;
  const auto same = std::find_if(opens.begin(), opens.end(), [&](const ShareRequest& other) {
    return other.uses == request.uses && other.allowed == request.allowed;
  });
  if (same != opens.end()) opens.erase(same);
  if (!opens.empty()) return;
  if (!found->second.delete_path.empty()) remove_if_same(found->second.delete_path, file);
  table.files.erase(found);
}

}  // namespace

ShareLease::ShareLease(ShareLease&& other) noexcept
    : file_(other.file_),
      request_(other.request_),
      held_(std::exchange(other.held_, false)),
      side_file_(std::exchange(other.side_file_, -1)) {}

ShareLease& ShareLease::operator=(ShareLease&& other) noexcept {
  std::swap(file_, other.file_);
  std::swap(request_, other.request_);
  std::swap(held_, other.held_);
  std::swap(side_file_, other.side_file_);
  return *this;
}

DWORD ShareLease::acquire(const FileIdentity& file, const ShareRequest& request, ShareLease& lease) {
  if (request.uses == 0) return is_waiting_to_be_deleted(file) ? ERROR_ACCESS_DENIED : NO_ERROR;
  if (const DWORD error = add_open(file, request); error != NO_ERROR) return error;
  lease.file_ = file;
  lease.request_ = request;
  lease.held_ = true;
  const DWORD error = lock_side_file(file, request, lease.side_file_);
  if (error != NO_ERROR) lease.release();
  return error;
}

void ShareLease::delete_at_last_release(std::string path) {
  OpenTable& table = open_table();
  std::lock_guard lock(table.mutex);
  const auto found = table.files.find(file_);
  if (found != table.files.end()) found->second.delete_path = std::move(path);
}

void ShareLease::release() noexcept {
  if (!std::exchange(held_, false)) return;
  remove_open(file_, request_);
  if (side_file_ >= 0) unlock_side_file(file_, std::exchange(side_file_, -1));
}

}  // namespace zdr::platform
