// Calls the module's private interface and renders the results as text and JSON.
#include "host/graph/source_clip.h"

#include "filters/source/mp4/interfaces/zdr_guids.h"
#include "host/formats/codec_names.h"
#include "host/text/time_text.h"
#include "host/text/wide_text.h"

namespace zdr::host {
namespace {

using mp4source::ClipInfo;

void write_video(JsonWriter& json, const ClipInfo& info) {
  if (info.video_codec == 0) return json.value(nullptr);
  json.begin_object();
  json.member("codec", codec_of_clip(info.video_codec));
  json.member("width", info.width);
  json.member("height", info.height);
  json.member("frame_rate", info.frame_rate);
  json.end_object();
}

void write_audio(JsonWriter& json, const ClipInfo& info) {
  if (info.audio_codec == 0) return json.value(nullptr);
  json.begin_object();
  json.member("codec", codec_of_clip(info.audio_codec));
  json.member("sample_rate", info.sample_rate);
  json.member("channels", info.channels);
  json.end_object();
}

}  // namespace

SourceClip::SourceClip(IBaseFilter& filter, const std::string& file) {
  result_ = filter.QueryInterface(mp4source::kIidZandorVideoSource, source_.out_void());
  if (FAILED(result_)) return;
  result_ = source_->OpenClip(wide_file_name(file).c_str(), &clip_, configuration_.out_bytes(),
                              configuration_.out_size());
}

SourceClip::~SourceClip() {
  if (clip_ != nullptr) source_->CloseClip(clip_);
}

HRESULT SourceClip::info(ClipInfo& info) {
  info = {};
  return clip_ != nullptr ? source_->GetClipInfo(clip_, &info) : E_HANDLE;
}

HRESULT SourceClip::key_frame(uint32_t index, ClipBytes& frame) {
  if (clip_ == nullptr) return E_HANDLE;
  return source_->GetKeyFrame(clip_, index, frame.out_bytes(), frame.out_size());
}

void write_clip(JsonWriter& json, const ClipInfo& info) {
  json.begin_object();
  json.member("duration_100ns", info.duration_ms * kUnitsPerMillisecond);
  json.key("video");
  write_video(json, info);
  json.key("audio");
  write_audio(json, info);
  json.end_object();
}

}  // namespace zdr::host
