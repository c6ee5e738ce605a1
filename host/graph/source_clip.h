// A file opened as a clip through the module's private interface, which describes it without playing.
#pragma once

#include <dshow.h>

#include <cstdlib>
#include <string>

#include "filters/source/mp4/interfaces/zandor_video_source.h"
#include "host/json/json_writer.h"
#include "host/text/bytes.h"
#include "platform/com/com_ptr.h"

namespace zdr::host {

// Owns bytes that the module allocated with malloc.
class ClipBytes {
 public:
  BYTE** out_bytes() { return &bytes_; }
  DWORD* out_size() { return &size_; }
  ClipBytes() = default;
  ~ClipBytes() { std::free(bytes_); }
  ClipBytes(const ClipBytes&) = delete;
  ClipBytes& operator=(const ClipBytes&) = delete;
  Bytes bytes() const { return {bytes_, size_}; }

 private:
  BYTE* bytes_ = nullptr;
  DWORD size_ = 0;
};

class SourceClip {
 public:
  // Opens the file through `filter`, which switches to the kind of the file.
  SourceClip(IBaseFilter& filter, const std::string& file);
  ~SourceClip();
  SourceClip(const SourceClip&) = delete;
  SourceClip& operator=(const SourceClip&) = delete;

  HRESULT result() const { return result_; }
  // False also for a file of an unknown kind, which the module opens without a reader.
  bool usable() const { return clip_ != nullptr && clip_->reader != nullptr; }
  bool has_video() const { return clip_ != nullptr && clip_->track != nullptr; }
  Bytes configuration() const { return configuration_.bytes(); }

  // Fields that the clip does not have are 0.
  HRESULT info(mp4source::ClipInfo& info);
  HRESULT key_frame(uint32_t index, ClipBytes& frame);

 private:
  com::ComPtr<mp4source::IAMZandorVideoSource> source_;
  mp4source::ClipHandle* clip_ = nullptr;
  ClipBytes configuration_;
  HRESULT result_ = S_OK;
};

void write_clip(JsonWriter& json, const mp4source::ClipInfo& info);

}  // namespace zdr::host
