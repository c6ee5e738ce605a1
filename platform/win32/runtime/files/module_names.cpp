// GetModuleFileName: the absolute path of the executable, or of the module that covers an address.
#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <climits>
#include <cstring>
#include <fstream>
#include <string>

#include "platform/win32/runtime/api_boundary.h"
#include "platform/win32/runtime/errno_map.h"
#include "platform/win32/runtime/text/text_result.h"
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

// "start-end perms offset device inode   path": whether the line covers the address.
bool covers(const std::string& line, uintptr_t address) noexcept {
  uintptr_t start = 0;
  uintptr_t end = 0;
  const char* last = line.data() + line.size();
  const auto first = std::from_chars(line.data(), last, start, 16);
  if (first.ec != std::errc() || first.ptr == last || *first.ptr != '-') return false;
  if (std::from_chars(first.ptr + 1, last, end, 16).ec != std::errc()) return false;
  return address >= start && address < end;
}

// The loader knows a module by the name it was asked for, which may be relative to a folder that is no longer
// the current one; the kernel's list of mappings has the absolute path.
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

// Unlike the other path functions this one fills a short buffer, terminates it and reports its size.
template <class Unit>
DWORD get_module_file_name(HMODULE module, Unit* buffer, DWORD size) noexcept {
  std::basic_string<Unit> text;
  const DWORD error = guarded([&]() -> DWORD {
    std::string path;
    if (const DWORD failure = module_path(module, path); failure != NO_ERROR) return failure;
    text = in_units<Unit>(path);
    return NO_ERROR;
  });
  if (!report(error)) return 0;
  if (text.size() < size) return fill_or_size(text, buffer, size);
  if (size > 0) {
    std::memcpy(buffer, text.data(), (size - 1) * sizeof(Unit));
    buffer[size - 1] = 0;
  }
  SetLastError(ERROR_INSUFFICIENT_BUFFER);
  return size;
}

}  // namespace

}  // namespace zdr::platform

DWORD GetModuleFileNameA(HMODULE module, LPSTR buffer, DWORD size) noexcept {
  return zdr::platform::get_module_file_name(module, buffer, size);
}

DWORD GetModuleFileNameW(HMODULE module, LPWSTR buffer, DWORD size) noexcept {
  return zdr::platform::get_module_file_name(module, buffer, size);
}
