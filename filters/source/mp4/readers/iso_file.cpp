// Opens ISO media files and reads the descriptions of their tracks.
#include "filters/source/mp4/readers/iso_file.h"

#include <new>
#include <vector>

namespace zdr::mp4source {
namespace {

constexpr uint32_t kFirstDescription = 1;

}  // namespace

int32_t with_memory(int32_t status) {
  if (status == P3GPP_ERR_NO_MEMORY) throw std::bad_alloc();
  return status;
}

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

IsoFilePointer open_iso_file(const FMGR_Descriptor& descriptor, FMGR_Context* manager) {
  P3gppFile* file = nullptr;
  P3gppOpenError error{};
  const bool opened = P3GPP_OpenExplained(&file, &descriptor, manager, &error) == P3GPP_OK;
  IsoFilePointer owned(opened ? file : nullptr);
  with_memory(error.status);  // also if the parser tolerated the failure and dropped a track
  return owned;
}

bool size_of_file(const FMGR_Descriptor& descriptor, FMGR_Context* manager, uint64_t* size) {
  FMGR_Stream* const stream = FMGR_FOpen(&descriptor, "rb", manager);
  if (stream == nullptr) return false;
  const bool known = FMGR_FSize64(stream, size) == FMGR_OK;
  FMGR_FClose(stream);
  return known;
}

uint32_t first_track_id(P3gppFile* file, uint32_t type, uint32_t track_count) {
  std::vector<uint32_t> ids(track_count, 0);
  uint32_t listed = 0;
  with_memory(P3GPP_GetTrackIds(file, type, ids.data(), &listed));
  return ids.front();
}

// Some failures return a record as well, which must be released.
TrackInfoPointer read_track_info(P3gppFile* file, uint32_t track_id) {
  P3gppTrackInfo* info = nullptr;
  const int32_t status = P3GPP_GetTrackInfo(file, track_id, &info);
  TrackInfoPointer owned(info);
  return with_memory(status) == P3GPP_OK ? std::move(owned) : nullptr;
}

DecoderInfoPointer read_decoder_info(P3gppFile* file, uint32_t track_id) {
  P3gppDecoderInfo* info = nullptr;
  const int32_t status = P3GPP_GetDecoderInfo(file, track_id, &info, kFirstDescription);
  DecoderInfoPointer owned(info);
  return with_memory(status) == P3GPP_OK ? std::move(owned) : nullptr;
}

}  // namespace zdr::mp4source
