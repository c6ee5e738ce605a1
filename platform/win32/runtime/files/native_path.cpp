// Maps the file names of callers to those of the system.
#include "platform/win32/runtime/files/native_path.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "platform/win32/file_names.h"

namespace zdr::platform {

namespace {

constexpr std::string_view kVerbatimPrefix = "//?/";

bool is_ascii_letter(char c) noexcept {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// The folder configured for a drive letter, or null.
const char* drive_root(char letter) noexcept {
  char variable[] = "ZDR_DRIVE_X";
  variable[sizeof variable - 2] = static_cast<char>(letter & ~0x20);
  return std::getenv(variable);
}

// `path` has the separators of the system.
DWORD map_prefixes(std::string& path) {
  if (path.starts_with(kVerbatimPrefix)) path.erase(0, kVerbatimPrefix.size());
  if (path.size() >= 3 && is_ascii_letter(path[0]) && path[1] == ':' && path[2] == '/') {
    const char* root = drive_root(path[0]);
    if (root == nullptr) return ERROR_PATH_NOT_FOUND;
    path.replace(0, 2, root);
  }
  return path.empty() ? ERROR_PATH_NOT_FOUND : NO_ERROR;
}

}  // namespace

DWORD map_to_native(std::string& path) {
  std::replace(path.begin(), path.end(), '\\', '/');
  return map_prefixes(path);
}

DWORD native_path(LPCSTR name, std::string& path) {
  if (name == nullptr) return ERROR_PATH_NOT_FOUND;
  if (strnlen(name, MAX_PATH) == MAX_PATH) return ERROR_FILENAME_EXCED_RANGE;
  path = name;
  return map_to_native(path);
}

DWORD native_path(LPCWSTR name, std::string& path) {
  if (name == nullptr) return ERROR_PATH_NOT_FOUND;
  std::u16string separated(name);
  std::replace(separated.begin(), separated.end(), u'\\', u'/');
  path = native_file_name(separated);
  return map_prefixes(path);
}

}  // namespace zdr::platform
