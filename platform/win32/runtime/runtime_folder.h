// The user's private folder for state shared between processes: $XDG_RUNTIME_DIR/zdr, else
// /dev/shm/zdr-<uid>.
#pragma once

namespace zdr::platform {

enum class RuntimeFolder {
  kShareModes,    // "share": one file per opened data file
  kNamedObjects,  // "obj": two files per named object
};

// Descriptor of the folder, kept open for the life of the process; -1 when it cannot be had. Folders are made
// with mode 0700 and refused unless they are ours, closed to others, and not links.
int runtime_folder(RuntimeFolder folder) noexcept;

}  // namespace zdr::platform
