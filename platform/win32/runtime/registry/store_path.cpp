// Finds the path of the registry's file in the environment, and creates the folders above it.
#include "platform/win32/runtime/registry/store_path.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <memory>

#include "platform/win32/runtime/errno_map.h"

namespace zdr::platform {

namespace {

// A relative value is ignored.
const char* absolute_variable(const char* name) noexcept {
  const char* value = std::getenv(name);
  return value != nullptr && value[0] == '/' ? value : nullptr;
}

}  // namespace

DWORD registry_path(std::string& path) {
  if (const char* named = std::getenv("ZDR_REGISTRY"); named != nullptr && *named != '\0') {
    path = named;
    return path.front() == '/' ? NO_ERROR : ERROR_BAD_PATHNAME;
  }
  if (const char* data = absolute_variable("XDG_DATA_HOME"); data != nullptr) {
    path = data;
  } else if (const char* home = absolute_variable("HOME"); home != nullptr) {
    path = std::string(home) + "/.local/share";
  } else {
    return ERROR_PATH_NOT_FOUND;
  }
  path += "/zdr/registry.reg";
  return NO_ERROR;
}

std::string final_path(const std::string& path) {
  const std::unique_ptr<char, decltype(&std::free)> real(realpath(path.c_str(), nullptr), &std::free);
  return real != nullptr ? real.get() : path;
}

DWORD make_folders_above(const std::string& file) {
  for (size_t slash = file.find('/', 1); slash != std::string::npos; slash = file.find('/', slash + 1)) {
    const std::string folder = file.substr(0, slash);
    if (mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) {
      return path_error_from_errno(errno, folder.c_str());
    }
  }
  return NO_ERROR;
}

}  // namespace zdr::platform
