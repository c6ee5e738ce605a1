// A clip opened through the private interface; a class for each kind of file.
#pragma once

#include <atomic>
#include <memory>
#include <span>
#include <string>

#include "filters/source/mp4/core/source_kind.h"
#include "filters/source/mp4/interfaces/zandor_video_source.h"
#include "filters/source/mp4/readers/owned_handles.h"

namespace zdr::mp4source {

// Bytes for a client, which frees them with free().
struct FreeBytes {
  void operator()(BYTE* bytes) const { std::free(bytes); }
};
struct ClientBytes {
  std::unique_ptr<BYTE, FreeBytes> bytes;
  DWORD size = 0;
};
// False when memory runs out. Of nothing there is no copy.
bool copy_for_client(std::span<const uint8_t> bytes, ClientBytes& copy);

// The handle's two words are the client's view of the clip; the clip itself goes by its class, whatever kind
// the filter has become since.
class Clip : public ClipHandle {
 public:
  virtual ~Clip() = default;
  Clip(const Clip&) = delete;
  Clip& operator=(const Clip&) = delete;

  // `frame_rate` is the filter's.
  virtual HRESULT tell(ClipInfo& info, std::atomic<double>& frame_rate) = 0;
  virtual HRESULT read_key_frame(DWORD index, ClientBytes& frame);
  // What CloseClip answers. The clip is destroyed afterwards.
  virtual HRESULT close() { return S_OK; }

 protected:
  Clip() : ClipHandle{nullptr, nullptr} {}
};

// S_OK or why not. bad_alloc when memory runs out.
struct OpenedClip {
  HRESULT result;
  std::unique_ptr<Clip> clip;
  ClientBytes configuration;
};
// By the extension of the name. The clip takes the manager for itself.
OpenedClip open_clip(SourceKind kind, std::u16string_view file_name, FileManagerPointer manager);

OpenedClip open_iso_clip(std::u16string_view file_name, FileManagerPointer manager);
OpenedClip open_amr_clip(std::u16string_view file_name);
OpenedClip open_aac_clip(std::u16string_view file_name);

}  // namespace zdr::mp4source
