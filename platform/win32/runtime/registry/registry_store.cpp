// Loads the file when it has changed, and replaces it as a whole.
#include "platform/win32/runtime/registry/registry_store.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <string_view>

#include "platform/win32/fault_injection.h"
#include "platform/win32/file_names.h"
#include "platform/win32/runtime/errno_map.h"
#include "platform/win32/runtime/registry/store_path.h"
#include "platform/win32/runtime/system_calls.h"

namespace zdr::platform {

namespace {

constexpr size_t kLargestFile = 4u << 20;
// The limit for a file's content in the form that this library writes; editors have shorter forms of the same
// content.
constexpr size_t kLargestText = 2 * kLargestFile;

FileMark mark_of(const struct stat& info) noexcept {
  return {info.st_dev, info.st_ino, info.st_size,
          int64_t{info.st_mtim.tv_sec} * 1'000'000'000 + info.st_mtim.tv_nsec};
}

bool is_missing(int error) noexcept {
  return error == ENOENT || error == ENOTDIR;
}

// A system call that a test may make fail.
template <class Call>
ssize_t attempt(Call call) noexcept {
  if (should_fail(FaultPoint::kRegistryStep)) {
    errno = EIO;
    return -1;
  }
  return repeat_interrupted(call);
}

// Reads the file from its start. Stops at the limit if the file grows beyond it meanwhile.
DWORD read_all(int file, std::string& content) {
  std::array<char, 16384> block;
  while (content.size() < kLargestFile) {
    const ssize_t got = attempt([&] { return read(file, block.data(), block.size()); });
    if (got < 0) return error_from_errno(errno);
    if (got == 0) break;
    content.append(block.data(), static_cast<size_t>(got));
  }
  return NO_ERROR;
}

DWORD write_all(int file, std::string_view content) noexcept {
  while (!content.empty()) {
    const ssize_t put = attempt([&] { return write(file, content.data(), content.size()); });
    if (put < 0) return error_from_errno(errno);
    content.remove_prefix(static_cast<size_t>(put));
  }
  return NO_ERROR;
}

std::string fresh_name(const std::string& file) {
  return file + ".tmp";
}

// Writes a new file. Its content must be on the disk before it gets its final name: otherwise a crash could
// leave an empty file under that name.
DWORD write_fresh(const std::string& path, std::string_view content, Descriptor& file, FileMark& mark) {
  file = Descriptor(static_cast<int>(
      attempt([&] { return open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600); })));
  if (!file) return path_error_from_errno(errno, path.c_str());
  if (const DWORD error = write_all(file.get(), content); error != NO_ERROR) return error;
  if (attempt([&] { return fchmod(file.get(), 0600); }) != 0) return error_from_errno(errno);
  if (attempt([&] { return fsync(file.get()); }) != 0) return error_from_errno(errno);
  struct stat info;
  if (fstat(file.get(), &info) != 0) return error_from_errno(errno);
  mark = mark_of(info);
  return NO_ERROR;
}

std::string folder_of(const std::string& path) {
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? "." : path.substr(0, slash + 1);
}

// Makes the new name durable. If that fails, a crash brings the old file back, which is complete as well.
void sync_folder(const std::string& folder) noexcept {
  const Descriptor opened(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (opened) fsync(opened.get());
}

}  // namespace

void remove_leftover(const std::string& file) {
  unlink(fresh_name(file).c_str());
}

void RegistryStore::forget() noexcept {
  loaded_ = false;
  top_ = RegistryKey();
}

DWORD RegistryStore::fail(DWORD error, const char* reason, size_t line) {
  forget();
  fault_ = {line, reason};
  if (error == ERROR_BADDB) {
    message_ = utf16_file_name("zdr: " + path_ + ": line " + std::to_string(line) + ": " + reason + "\n");
  }
  return error;
}

DWORD RegistryStore::load() {
  std::string path;
  const DWORD error = registry_path(path);
  if (path != path_) loaded_ = false;
  path_ = path;
  if (error == ERROR_BAD_PATHNAME) return fail(error, "ZDR_REGISTRY is not an absolute path");
  if (error != NO_ERROR) return fail(error, "there is no home folder");
  if (should_fail(FaultPoint::kRegistryStep)) return fail(ERROR_IO_DEVICE, nullptr);
  struct stat info;
  if (stat(path_.c_str(), &info) != 0) {
    if (!is_missing(errno)) return fail(path_error_from_errno(errno, path_.c_str()), nullptr);
    if (loaded_ && mark_ == FileMark()) return NO_ERROR;
    forget();
    add_permanent_keys(top_);
    file_ = Descriptor();
    mark_ = FileMark();
    loaded_ = true;
    return NO_ERROR;
  }
  if (loaded_ && mark_ == mark_of(info)) return NO_ERROR;
  return read_file();
}

DWORD RegistryStore::read_file() {
  // O_NONBLOCK, because the path may name a pipe.
  Descriptor file(open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  struct stat info;
  if (!file || fstat(file.get(), &info) != 0)
    return fail(path_error_from_errno(errno, path_.c_str()), nullptr);
  if (!S_ISREG(info.st_mode)) return fail(ERROR_BADDB, "not a regular file");
  if ((info.st_uid != geteuid() && info.st_uid != 0) || (info.st_mode & (S_IWGRP | S_IWOTH)) != 0)
    return fail(ERROR_ACCESS_DENIED, "other users can write to it");
  if (info.st_size > static_cast<off_t>(kLargestFile)) return fail(ERROR_FILE_TOO_LARGE, "larger than 4 MiB");

  std::string content;
  content.reserve(static_cast<size_t>(info.st_size));
  if (const DWORD error = read_all(file.get(), content); error != NO_ERROR) return fail(error, nullptr);
  forget();
  TextFault fault;
  if (!read_export(std::move(content), top_, fault)) return fail(ERROR_BADDB, fault.reason, fault.line);
  size_t text_size = 0;
  if (!export_fits(top_, {.bytes = kLargestText}, text_size))
    return fail(ERROR_FILE_TOO_LARGE, "larger than 8 MiB with the whole path of every key");
  file_ = std::move(file);
  mark_ = mark_of(info);
  loaded_ = true;
  return NO_ERROR;
}

DWORD RegistryStore::save() {
  std::string text;
  const bool fits = write_export(top_, {.bytes = kLargestFile}, text);
  const DWORD error = fits ? replace_file(text) : ERROR_NO_SYSTEM_RESOURCES;
  if (error != NO_ERROR) forget();
  return error;
}

DWORD RegistryStore::replace_file(const std::string& text) {
  const std::string path = final_path(path_);
  const std::string folder = folder_of(path);  // allocated before the file is replaced
  const std::string fresh_path = fresh_name(path);
  Descriptor fresh;
  FileMark mark;
  DWORD error = write_fresh(fresh_path, text, fresh, mark);
  if (error == NO_ERROR && attempt([&] { return rename(fresh_path.c_str(), path.c_str()); }) != 0)
    error = error_from_errno(errno);
  if (error != NO_ERROR) {
    unlink(fresh_path.c_str());
    return error;
  }
  sync_folder(folder);
  file_ = std::move(fresh);
  mark_ = mark;
  return NO_ERROR;
}

}  // namespace zdr::platform
