// GetTempPath and GetTempFileName.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "platform/win32/runtime/api_boundary.h"
#include "platform/win32/runtime/errno_map.h"
#include "platform/win32/runtime/files/native_path.h"
#include "platform/win32/runtime/text/text_result.h"
#include "platform/win32/win32_paths.h"
#include "platform/win32/win32_threads.h"

namespace zdr::platform {

namespace {

// Room that the directory must leave for `/`, prefix, number, `.TMP` and NUL.
constexpr size_t kTempNameTail = 14;

std::string temp_folder() {
  for (const char* variable : {"TMP", "TEMP", "USERPROFILE", "TMPDIR"}) {
    const char* value = std::getenv(variable);
    if (value == nullptr || *value == '\0') continue;
    std::string folder = value;
    if (map_to_native(folder) != NO_ERROR) continue;
    if (folder.back() != '/') folder += '/';
    return folder;
  }
  return P_tmpdir "/";
}

template <class Unit>
DWORD get_temp_path(DWORD size, Unit* buffer) noexcept {
  DWORD length = 0;
  const DWORD error = guarded([&] {
    length = fill_or_size(in_units<Unit>(temp_folder()), buffer, size);
    return DWORD{NO_ERROR};
  });
  return report(error) ? length : 0;
}

std::string temp_name(const std::string& stem, UINT number) {
  char digits[8];
  std::snprintf(digits, sizeof digits, "%x", number & 0xFFFFu);
  return stem + digits + ".TMP";
}

DWORD create_empty(const std::string& name) noexcept {
  const int file = open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  if (file < 0) {
    if (errno == EEXIST) return ERROR_FILE_EXISTS;
    return errno == ENOENT || errno == ENOTDIR ? ERROR_DIRECTORY : error_from_errno(errno);
  }
  close(file);
  return NO_ERROR;
}

// Counts up from the clock until a name is free. 0 as a number would mean failure and is never used.
DWORD create_unique(const std::string& stem, UINT& number, std::string& name) {
  UINT candidate = GetTickCount() & 0xFFFFu;
  for (uint32_t tries = 0; tries < 0x10000; ++tries, candidate = (candidate + 1) & 0xFFFFu) {
    if (candidate == 0) continue;
    name = temp_name(stem, candidate);
    const DWORD error = create_empty(name);
    if (error == ERROR_FILE_EXISTS) continue;
    number = candidate;
    return error;
  }
  return ERROR_FILE_EXISTS;
}

// Directory with its separator, and up to three characters of the prefix.
template <class Unit>
DWORD temp_stem(const Unit* directory, const Unit* prefix, std::string& stem) {
  if (directory == nullptr) return ERROR_INVALID_PARAMETER;
  if (std::char_traits<Unit>::length(directory) > MAX_PATH - kTempNameTail) return ERROR_BUFFER_OVERFLOW;
  if (*directory != 0) {
    if (const DWORD error = native_path(directory, stem); error != NO_ERROR) return error;
  }
  if (stem.empty() || stem.back() != '/') stem += '/';
  const std::basic_string<Unit> start(prefix == nullptr ? std::basic_string<Unit>() : prefix);
  if constexpr (sizeof(Unit) == 1) {
    stem += start.substr(0, 3);
  } else {
    stem += utf8_file_name(start.substr(0, 3));
  }
  return NO_ERROR;
}

template <class Unit>
UINT get_temp_file_name(const Unit* directory, const Unit* prefix, UINT unique, Unit* buffer) noexcept {
  UINT number = unique;
  const DWORD error = guarded([&]() -> DWORD {
    std::string stem;
    if (buffer == nullptr) return ERROR_INVALID_PARAMETER;
    if (const DWORD failure = temp_stem(directory, prefix, stem); failure != NO_ERROR) return failure;
    std::string name = temp_name(stem, unique);
    if (unique == 0) {
      if (const DWORD failure = create_unique(stem, number, name); failure != NO_ERROR) return failure;
    }
    const auto text = in_units<Unit>(name);
    return fill_or_size(text, buffer, MAX_PATH) == text.size() ? NO_ERROR : ERROR_BUFFER_OVERFLOW;
  });
  return report(error) ? number : 0;
}

}  // namespace

}  // namespace zdr::platform

DWORD GetTempPathA(DWORD size, LPSTR buffer) noexcept {
  return zdr::platform::get_temp_path(size, buffer);
}

DWORD GetTempPathW(DWORD size, LPWSTR buffer) noexcept {
  return zdr::platform::get_temp_path(size, buffer);
}

UINT GetTempFileNameA(LPCSTR directory, LPCSTR prefix, UINT unique, LPSTR buffer) noexcept {
  return zdr::platform::get_temp_file_name(directory, prefix, unique, buffer);
}

UINT GetTempFileNameW(LPCWSTR directory, LPCWSTR prefix, UINT unique, LPWSTR buffer) noexcept {
  return zdr::platform::get_temp_file_name(directory, prefix, unique, buffer);
}
