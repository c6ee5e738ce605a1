// A file that is written under a temporary name and gets its own name when it is complete, in a folder that
// other programs and other users may write to as well.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "win32_types.h"

namespace zdr::platform {

// For one thread at a time. The functions that return int return 0 or an errno.
class NewFile {
 public:
  NewFile() = default;
  // Closes the file and leaves it.
  ZDR_PLATFORM_API ~NewFile();
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  // Creates the file and locks it until it is closed. An existing entry of this name is never opened for
  // writing: EBUSY if an open NewFile has it, else EEXIST. With `replace`, an entry that is not in use is
  // removed first, unless it is a folder.
  ZDR_PLATFORM_API int create(const std::string& path, bool replace);
  bool is_open() const { return descriptor_ >= 0; }

  // Writes one part after the other, the first at `offset`, and adds the number of bytes written, also by a
  // failed call, to `written`.
  ZDR_PLATFORM_API int write(uint64_t offset, std::span<const uint8_t> first, std::span<const uint8_t> second,
                             uint64_t& written) noexcept;
  // Waits until the bytes are stored, and so reports errors that the system found late.
  ZDR_PLATFORM_API int flush() noexcept;
  // Gives the file its own name, in the same folder. Without `replace`, EEXIST if the name is in use. ESTALE
  // if the temporary name no longer refers to the file.
  ZDR_PLATFORM_API int publish(const std::string& final_path, bool replace) noexcept;
  ZDR_PLATFORM_API int close() noexcept;
  // Closes the file and removes it, if the temporary name still refers to it.
  ZDR_PLATFORM_API void discard() noexcept;

 private:
  int create_and_lock(const char* path) noexcept;
  bool has_name(const char* path) const noexcept;

  std::string path_;
  int descriptor_ = -1;
};

}  // namespace zdr::platform
