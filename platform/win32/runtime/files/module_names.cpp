// GetModuleFileNameW: the absolute path of the executable, or of the module that covers an address.
#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <climits>
#include <cstring>
#include <fstream>
#include <string>

#include "platform/win32/file_names.h"
#include "platform/win32/runtime/api_boundary.h"
#include "platform/win32/runtime/errno_map.h"
#include "platform/win32/runtime/files/native_path.h"
#include "platform/win32/win32_paths.h"

namespace zdr::platform {

namespace {

DWORD executable_path(std::string& path) {
  char buffer[PATH_MAX];
  const ssize_t length = readlink("/proc/self/exe", buffer, sizeof buffer);
  if (length < 0) return error_from_errno(errno);
  path.assign(buffer, static_cast<size_t>(length));
  return NO_ERROR;
}

// True if a line of the form "start-end perms offset device inode   path" covers the address.
bool covers(const std::string& line, uintptr_t address) noexcept {
  uintptr_t start = 0;
  uintptr_t end = 0;
  const char* last = line.data() + line.size();
  const auto first = std::from_chars(line.data(), last, start, 16);
  if (first.ec != std::errc() || first.ptr == last || *first.ptr != '-') return false;
  if (std::from_chars(first.ptr + 1, last, end, 16).ec != std::errc()) return false;
  return address >= start && address < end;
}

// The loader reports the name under which a module was loaded, which may be relative to a folder that is no
// longer the current one; the kernel's list of mappings has the absolute path.
DWORD mapped_path(uintptr_t address, std::string& path) {
  std::ifstream mappings("/proc/self/maps");
  for (std::string line; std::getline(mappings, line);) {
    const size_t slash = line.find('/');
    if (slash == std::string::npos || !covers(line, address)) continue;
    path = line.substr(slash);
    return NO_ERROR;
  }
  return ERROR_MOD_NOT_FOUND;
}

DWORD module_path(HMODULE module, std::string& path) {
  if (module == nullptr) return executable_path(path);
  Dl_info info;
  if (dladdr(module, &info) == 0 || info.dli_fname == nullptr) return ERROR_MOD_NOT_FOUND;
  if (info.dli_fname[0] != '/') return mapped_path(reinterpret_cast<uintptr_t>(module), path);
  path = info.dli_fname;
  return NO_ERROR;
}

}  // namespace

}  // namespace zdr::platform

using namespace zdr::platform;

// Unlike the other path functions, this one fills a buffer that is too short, terminates it and returns its
// size.
DWORD GetModuleFileNameW(HMODULE module, LPWSTR buffer, DWORD size) noexcept {
  std::u16string name;
  const DWORD error = guarded([&]() -> DWORD {
    std::string path;
    if (const DWORD failure = module_path(module, path); failure != NO_ERROR) return failure;
    name = utf16_file_name(path);
    return NO_ERROR;
  });
  if (!report(error)) return 0;
  if (name.size() < size) return fill_or_size(name, buffer, size);
  if (size > 0) {
    std::memcpy(buffer, name.data(), (size - 1) * sizeof(WCHAR));
    buffer[size - 1] = 0;
  }
  SetLastError(ERROR_INSUFFICIENT_BUFFER);
  return size;
}
