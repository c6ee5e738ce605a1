// Where the registry's file lies.
#pragma once

#include <string>

#include "platform/win32/win32_types.h"

namespace zdr::platform {

// $ZDR_REGISTRY, else zdr/registry.reg in the user's data folder. ERROR_PATH_NOT_FOUND when there is no home.
DWORD registry_path(std::string& path);

// The file that a path leads to over symbolic links, so that the link is not replaced in its stead. The path
// itself while there is no file.
std::string final_path(const std::string& path);

// Makes the folders above a file that are missing, for the user alone.
DWORD make_folders_above(const std::string& file);

}  // namespace zdr::platform
