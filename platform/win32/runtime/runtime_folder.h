// The user's private folder for state shared between processes: $XDG_RUNTIME_DIR/zdr, else
// /dev/shm/zdr-<uid>.
#pragma once

namespace zdr::platform {

enum class RuntimeFolder {
  kShareModes,   // "share": one file for each open data file
  kNamedEvents,  // "obj": one file for each named event
};

// The descriptor of the folder, which stays open for the life of the process; -1 when there is none. Folders
// are created with mode 0700. A folder that belongs to another user, gives others access or is a link is
// refused.
int runtime_folder(RuntimeFolder folder) noexcept;

}  // namespace zdr::platform
