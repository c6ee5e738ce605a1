// A clip opened through the private interface; one class for each kind of file.
#pragma once

#include <atomic>
#include <cstdlib>
#include <memory>
#include <span>
#include <string_view>

#include "filters/source/mp4/interfaces/source_kind.h"
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
// False if memory runs out. The copy of empty input is null.
bool copy_for_client(std::span<const uint8_t> bytes, ClientBytes& copy);

// The client sees the two words of the handle. The clip's behaviour depends on its own class, even if the
// filter has changed its kind since.
class Clip : public ClipHandle {
 public:
  virtual ~Clip() = default;
  Clip(const Clip&) = delete;
  Clip& operator=(const Clip&) = delete;

  // Stores the fields that the clip has. `frame_rate` is the filter's.
  virtual HRESULT report(ClipInfo& info, std::atomic<double>& frame_rate) = 0;
  virtual HRESULT read_key_frame(DWORD /*index*/, ClientBytes& /*frame*/) { return E_FAIL; }
  // Returns the result of CloseClip. The caller destroys the clip afterwards.
  virtual HRESULT close() { return S_OK; }

 protected:
  Clip() : ClipHandle{nullptr, nullptr} {}
};

// Without a clip unless the result is S_OK.
struct OpenedClip {
  HRESULT result;
  std::unique_ptr<Clip> clip;
  ClientBytes configuration;
};

// Throws bad_alloc if memory runs out. The clip owns the manager.
OpenedClip open_clip(SourceKind kind, const WCHAR* file_name, FileManagerPointer manager);

OpenedClip open_iso_clip(const WCHAR* file_name, FileManagerPointer manager);
OpenedClip open_amr_clip(const WCHAR* file_name);
OpenedClip open_aac_clip(const WCHAR* file_name);

}  // namespace zdr::mp4source
