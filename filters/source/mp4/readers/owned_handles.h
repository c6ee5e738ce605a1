// Owning pointers to handles, files and readers.
#pragma once

#include <windows.h>

#include <memory>

#include "esparse/aac/aacf.h"
#include "esparse/amr/amrf.h"
#include "fmgr/fmgr.h"
#include "p3gpp/p3gpp.h"

namespace zdr::mp4source {

struct CloseHandleFunction {
  void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using UniqueHandle = std::unique_ptr<void, CloseHandleFunction>;

struct DeinitFileManager {
  void operator()(FMGR_Context* context) const { FMGR_Deinit(context); }
};
using FileManagerPointer = std::unique_ptr<FMGR_Context, DeinitFileManager>;

struct CloseIsoFile {
  void operator()(P3gppFile* file) const { P3GPP_Close(file); }
};
using IsoFilePointer = std::unique_ptr<P3gppFile, CloseIsoFile>;

// The parser's records release themselves.
struct ReleaseRecord {
  template <class Record>
  void operator()(Record* record) const {
    record->release(record);
  }
};
using TrackInfoPointer = std::unique_ptr<P3gppTrackInfo, ReleaseRecord>;
using DecoderInfoPointer = std::unique_ptr<P3gppDecoderInfo, ReleaseRecord>;

struct CloseIsoTrack {
  void operator()(P3gppTrack* track) const { P3GPP_CloseTrack(track); }
};
using IsoTrackPointer = std::unique_ptr<P3gppTrack, CloseIsoTrack>;

struct CloseAmrFile {
  void operator()(AMRF_File* reader) const { AMRF_Close(reader); }
};
using AmrFilePointer = std::unique_ptr<AMRF_File, CloseAmrFile>;

struct CloseAacFile {
  void operator()(AACF_File* reader) const { AACF_Close(reader); }
};
using AacFilePointer = std::unique_ptr<AACF_File, CloseAacFile>;

}  // namespace zdr::mp4source
