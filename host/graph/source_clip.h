// A file as a clip: what the module's private interface tells of it, without playing.
#pragma once

#include <dshow.h>

#include <cstdlib>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <span>
#include <string>

#include "filters/source/mp4/interfaces/zandor_video_source.h"
#include "platform/com/com_ptr.h"

namespace zdr::host {

// Bytes that the module has allocated.
class ClipBytes {
 public:
  BYTE** out_bytes() { return &bytes_; }
  DWORD* out_size() { return &size_; }
  ClipBytes() = default;
  ~ClipBytes() { std::free(bytes_); }
  ClipBytes(const ClipBytes&) = delete;
  ClipBytes& operator=(const ClipBytes&) = delete;
  std::span<const uint8_t> span() const { return {bytes_, size_}; }

 private:
  BYTE* bytes_ = nullptr;
  DWORD size_ = 0;
};

class SourceClip {
 public:
  // Opens the file through `filter`, which becomes one of the file's kind.
  SourceClip(IBaseFilter& filter, const std::string& file);
  ~SourceClip();
  SourceClip(const SourceClip&) = delete;
  SourceClip& operator=(const SourceClip&) = delete;

  HRESULT result() const { return result_; }
  // False also for a file that the module opens as one of no known kind.
  bool usable() const { return clip_ != nullptr && clip_->reader != nullptr; }
  bool has_video() const { return clip_ != nullptr && clip_->track != nullptr; }
  std::span<const uint8_t> configuration() const { return configuration_.span(); }

  // Fields that the clip does not have are 0.
  HRESULT info(mp4source::ClipInfo& info);
  HRESULT key_frame(uint32_t index, ClipBytes& frame);

 private:
  com::ComPtr<mp4source::IAMZandorVideoSource> source_;
  mp4source::ClipHandle* clip_ = nullptr;
  ClipBytes configuration_;
  HRESULT result_ = S_OK;
};

// "AVC", "AMR-WB" ...; empty for 0.
std::string clip_codec_name(DWORD codec);
// "0:00:04.000, AVC 320x180 25.000 fps, AAC 44100 Hz 2 channels"
std::string clip_line(const mp4source::ClipInfo& info);
nlohmann::ordered_json clip_json(const mp4source::ClipInfo& info);

}  // namespace zdr::host
