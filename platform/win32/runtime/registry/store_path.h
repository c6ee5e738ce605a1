// The path of the registry's file, and the folders above it.
#pragma once

#include <string>

#include "platform/win32/win32_types.h"

namespace zdr::platform {

// $ZDR_REGISTRY, else zdr/registry.reg in the user's data folder. ERROR_PATH_NOT_FOUND without a home folder,
// ERROR_BAD_PATHNAME for a relative $ZDR_REGISTRY: the current folder is not the user's.
DWORD registry_path(std::string& path);

// The file that a path leads to through symbolic links, so that a replacement does not replace the link. The
// path itself if the file does not exist yet.
std::string final_path(const std::string& path);

// Makes the missing folders above a file, with access for the user alone.
DWORD make_folders_above(const std::string& file);

}  // namespace zdr::platform
