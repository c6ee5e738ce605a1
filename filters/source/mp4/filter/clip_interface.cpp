// IAMZandorVideoSource of the filter: checks the arguments and passes the calls on to clips.
#include <new>

#include "filters/source/mp4/clips/clip.h"
#include "filters/source/mp4/filter/mp4_source.h"
#include "platform/com/status_guard.h"

namespace zdr::mp4source {
namespace {

// Kept: a status of the file manager instead of an HRESULT.
constexpr HRESULT kNoFileManager = FMGR_ERR_GENERIC;

}  // namespace

HRESULT CZanMP4SourceFilter::OpenClip(LPCOLESTR file_name, ClipHandle** clip, BYTE** configuration,
                                      DWORD* configuration_length) {
  CheckPointer(file_name, E_POINTER);
  FileManagerPointer manager = new_file_manager();
  if (!manager) return kNoFileManager;
  try {
    if (clip == nullptr || configuration == nullptr || configuration_length == nullptr) return E_POINTER;
    *clip = nullptr;
    *configuration = nullptr;
    *configuration_length = 0;
    // Kept: sets the filter's kind to the clip's, whatever it is playing.
    const SourceKind kind = set_kind_from_name(file_name);
    OpenedClip opened = open_clip(kind, file_name, std::move(manager));
    if (opened.result != S_OK) return opened.result;
    *configuration_length = opened.configuration.size;
    *configuration = opened.configuration.bytes.release();
    *clip = opened.clip.release();
    return S_OK;
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}

HRESULT CZanMP4SourceFilter::GetKeyFrame(ClipHandle* clip, DWORD index, BYTE** buffer, DWORD* size) {
  if (clip == nullptr) return E_HANDLE;
  if (buffer == nullptr || size == nullptr) return E_POINTER;
  return com::guarded([&] {
    ClientBytes frame;
    const HRESULT hr = static_cast<Clip*>(clip)->read_key_frame(index, frame);
    if (FAILED(hr)) return hr;
    *size = frame.size;
    *buffer = frame.bytes.release();
    return hr;
  });
}

HRESULT CZanMP4SourceFilter::GetClipInfo(ClipHandle* clip, ClipInfo* info) {
  CheckPointer(info, E_POINTER);
  if (clip == nullptr) return E_HANDLE;
  try {
    return static_cast<Clip*>(clip)->report(*info, shared_.frame_rate);
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}

HRESULT CZanMP4SourceFilter::CloseClip(ClipHandle* clip) {
  if (clip == nullptr) return E_FAIL;
  const std::unique_ptr<Clip> owned(static_cast<Clip*>(clip));
  return owned->close();
}

}  // namespace zdr::mp4source
