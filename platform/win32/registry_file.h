// Where the registry lives, and what is the matter with it when its functions say that they cannot read it.
//
// The file has the text form in which registry editors export (first line "Windows Registry Editor Version
// 5.00"), in UTF-8 with one line feed a line and its keys sorted. It may also be UTF-16 with a byte order
// mark, have CRLF line ends, or begin with "REGEDIT4" (windows-1252 then), as such editors write it. A change
// through the functions writes the whole file anew in the first form, so comments in it are lost, and only
// its user may read it then. It may have 4 MiB at most.
#pragma once

#include "win32_types.h"

#ifdef __cplusplus
#include <string>

namespace zdr::platform {

struct RegistryReport {
  std::string path;  // absolute unless the environment names a relative one; empty when there is no home
  DWORD error = NO_ERROR;  // what every registry function would answer
  size_t line = 0;     // for ERROR_BADDB: the first line that is not understood, 0 for the file as a whole
  std::string reason;  // in words, for errors of the store itself
  std::string text;    // everything that stands there, in the form above
};

// The environment variable ZDR_REGISTRY names the file, else it is zdr/registry.reg in $XDG_DATA_HOME or
// ~/.local/share. A missing file is an empty registry. Refused are files of other users but root, and files
// that the group or others may write, because a class's module is loaded from the path in it. Throws
// bad_alloc.
ZDR_PLATFORM_API RegistryReport report_registry();

}  // namespace zdr::platform
#endif
