// GetFullPathName: makes a path absolute and folds its `.` and `..` components.
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <string>
#include <string_view>

#include "platform/win32/file_names.h"
#include "platform/win32/runtime/api_boundary.h"
#include "platform/win32/runtime/errno_map.h"
#include "platform/win32/runtime/files/native_path.h"
#include "platform/win32/win32_paths.h"

namespace zdr::platform {

namespace {

DWORD current_folder(std::string& folder) {
  char buffer[PATH_MAX];
  if (getcwd(buffer, sizeof buffer) == nullptr) return error_from_errno(errno);
  folder = buffer;
  return NO_ERROR;
}

// Folds empty, `.` and `..` components of an absolute path; `..` at the root stays there. A trailing
// separator stays, because it marks the path of a folder.
std::string fold_components(std::string_view path) {
  const bool ends_in_separator = path.back() == '/';
  std::string folded;
  while (!path.empty()) {
    const size_t end = std::min(path.find('/'), path.size());
    const std::string_view component = path.substr(0, end);
    path.remove_prefix(std::min(end + 1, path.size()));
    if (component == "..") {
      folded.erase(std::min(folded.rfind('/'), folded.size()));
    } else if (!component.empty() && component != ".") {
      folded.append("/").append(component);
    }
  }
  if (folded.empty() || ends_in_separator) folded += '/';
  return folded;
}

template <class Unit>
DWORD full_path(const Unit* name, std::string& result) {
  if (name == nullptr || *name == 0) return ERROR_INVALID_NAME;
  std::string path;
  if (const DWORD error = native_path(name, path); error != NO_ERROR) return error;
  if (path.front() != '/') {
    std::string folder;
    if (const DWORD error = current_folder(folder); error != NO_ERROR) return error;
    path = folder + "/" + path;
  }
  result = fold_components(path);
  return NO_ERROR;
}

// Where the last component starts inside the buffer, or null after a trailing separator.
template <class Unit>
Unit* last_component(Unit* buffer, size_t length) noexcept {
  if (length == 0 || buffer[length - 1] == Unit{'/'}) return nullptr;
  while (length > 0 && buffer[length - 1] != Unit{'/'}) --length;
  return buffer + length;
}

// `in_units` converts the path from UTF-8.
template <class Unit, class Convert>
DWORD get_full_path_name(const Unit* name, DWORD size, Unit* buffer, Unit** last, Convert in_units) noexcept {
  std::basic_string<Unit> result;
  const DWORD error = guarded([&]() -> DWORD {
    std::string path;
    const DWORD failure = full_path(name, path);
    result = in_units(path);
    return failure;
  });
  if (!report(error)) return 0;
  const DWORD length = fill_or_size(result, buffer, size);
  if (length == result.size() && last != nullptr) *last = last_component(buffer, length);
  return length;
}

}  // namespace

}  // namespace zdr::platform

DWORD GetFullPathNameA(LPCSTR name, DWORD size, LPSTR buffer, LPSTR* last) noexcept {
  return zdr::platform::get_full_path_name(name, size, buffer, last,
                                           [](std::string& path) { return std::move(path); });
}

DWORD GetFullPathNameW(LPCWSTR name, DWORD size, LPWSTR buffer, LPWSTR* last) noexcept {
  return zdr::platform::get_full_path_name(name, size, buffer, last, zdr::platform::utf16_file_name);
}
