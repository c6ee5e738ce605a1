// The file callbacks through which the AAC reader and the tag parser read.
#pragma once

#include <memory>
#include <string>

#include "host/text/wide_text.h"
#include "id3p/id3p.h"
#include "os/os.h"

namespace zdr::host {

inline constexpr AACF_FileIo kFileIo = {OS_fopen, OS_fseek, OS_fread, OS_fwrite, OS_fclose, OS_ftell};

struct CloseFile {
  void operator()(void* handle) const { OS_fclose(handle); }
};
using OwnedFile = std::unique_ptr<void, CloseFile>;

// Returns null if the file cannot be opened.
inline OwnedFile open_file(const std::string& file) {
  return OwnedFile(OS_fopen(wide_file_name(file).c_str(), "rb"));
}

}  // namespace zdr::host
