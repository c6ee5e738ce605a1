// Where the registry is stored, and why it cannot be read.
//
// The file has the text form that registry editors export (first line "Windows Registry Editor
// Version 5.00"), in UTF-8 with LF line ends and sorted keys. As written by such editors it may also be
// UTF-16 with a byte order mark, have CRLF line ends, or begin with "REGEDIT4" (windows-1252 then). It has at
// most 4 MiB with 100,000 keys and values, and 8 MiB with the whole path of every key. A change through the
// functions writes the whole file anew in the first form: comments in it are lost, and only its user may read
// it afterwards.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "win32_types.h"

namespace zdr::platform {

struct RegistryReport {
  std::string path;        // as the environment names it; empty without a home folder
  DWORD error = NO_ERROR;  // what every registry function would return
  size_t line = 0;         // for ERROR_BADDB: the first line that cannot be parsed, 0 for the file as a whole
  std::string reason;      // in words, for errors of the store itself
  std::string text;        // the whole content, in the form above; empty after a visit
};

// The environment variable ZDR_REGISTRY names the file, by an absolute path; without it, the file is
// zdr/registry.reg in $XDG_DATA_HOME or ~/.local/share. A missing file is an empty registry. Files of users
// other than this one and root, and files that the group or others may write, are refused, because a class's
// module is loaded from the path in them. Throws bad_alloc.
ZDR_PLATFORM_API RegistryReport report_registry();

// The absolute path of the file, with links resolved if it exists; empty if there is none. Throws bad_alloc.
std::string resolved_registry_file();

// Receives what the file holds, in its order: each key, then its values. Must not use the registry, which
// is locked for the process during the visit.
class RegistryVisitor {
 public:
  virtual void on_key(const std::string& path) = 0;
  virtual void on_value(std::u16string_view name, DWORD type, std::span<const BYTE> data) = 0;

 protected:
  ~RegistryVisitor() = default;
};

// Visits each key once. Visits nothing if the registry cannot be read. Passes on what the visitor throws;
// throws bad_alloc.
ZDR_PLATFORM_API RegistryReport visit_registry(RegistryVisitor& visitor);

}  // namespace zdr::platform
