// Opening and deleting files by the platform's rules.
#pragma once

#include <string>

#include "platform/win32/runtime/files/file_object.h"
#include "platform/win32/win32_types.h"

namespace zdr::platform {

struct OpenRequest {
  DWORD access;
  DWORD share;
  DWORD disposition;
  DWORD flags;  // and attributes
};

// Returns an error code, or NO_ERROR with the file and whether it existed before. May throw bad_alloc.
DWORD open_file(const std::string& path, const OpenRequest& request, Ref<KernelObject>& file, bool& existed);

// Deletes the file unless an open handle denies it.
DWORD delete_file(const std::string& path);

}  // namespace zdr::platform
