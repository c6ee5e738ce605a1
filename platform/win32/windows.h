// The platform's own header name: everything of the Win32 part that the code above it uses.
// Valid as C11 and C++20; includes no POSIX header.
#ifndef ZDR_WINDOWS_H
#define ZDR_WINDOWS_H

#include "win32_error.h"
#include "win32_files.h"
#include "win32_paths.h"
#include "win32_registry.h"
#include "win32_sync.h"
#include "win32_text.h"
#include "win32_threads.h"
#include "win32_types.h"
#include "winerror.h"

#endif
