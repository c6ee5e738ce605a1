#include "filters/source/mp4/readers/iso_file.h"

#include <vector>

namespace zdr::mp4source {

FileManagerPointer new_file_manager() {
  const FMGR_Config unbuffered{0, 0};
  FMGR_Context* manager = nullptr;
  FMGR_Init(&manager, &unbuffered);
  return FileManagerPointer(manager);
}

FMGR_Descriptor wide_file_descriptor(const WCHAR* path) {
  FMGR_Descriptor descriptor{};
  descriptor.type = FMGR_DEV_FILE_W;
  descriptor.source.wide_path = path;
  return descriptor;
}

uint32_t first_track_id(P3gppFile* file, uint32_t type, uint32_t track_count) {
  std::vector<uint32_t> ids(track_count, 0);
  uint32_t listed = 0;
  P3GPP_GetTrackIds(file, type, ids.data(), &listed);
  return ids.front();
}

bool size_of_file(const FMGR_Descriptor& descriptor, FMGR_Context* manager, uint64_t* size) {
  FMGR_Stream* const stream = FMGR_FOpen(&descriptor, "rb", manager);
  if (stream == nullptr) return false;
  const bool known = FMGR_FSize64(stream, size) == FMGR_OK;
  FMGR_FClose(stream);
  return known;
}

}  // namespace zdr::mp4source
