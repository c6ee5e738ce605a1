// Opening a file: the reader by the extension, then a pin for the first track of each kind.
#include <algorithm>
#include <new>
#include <string>

#include "filters/source/mp4/core/conversions.h"
#include "filters/source/mp4/filter/mp4_source.h"
#include "filters/source/mp4/readers/iso_file.h"
#include "filters/source/mp4/sources/aac_source.h"
#include "filters/source/mp4/sources/amr_source.h"

namespace zdr::mp4source {

BOOL CZanMP4SourceFilter::OpenSource(LPCOLESTR file_name, const AM_MEDIA_TYPE*) {
  try {
    if (open_file_manager(file_name)) probe();
    const SourceKind kind = source_kind_of(file_name);
    if (kind != SOURCE_KIND_NONE) source_kind_ = kind;
    switch (kind) {
      case SOURCE_KIND_MP4:
        return open_iso_media() ? TRUE : FALSE;
      case SOURCE_KIND_AMR:
        return open_amr_file(file_name) ? TRUE : FALSE;
      case SOURCE_KIND_AAC:
        return open_aac_file(file_name) ? TRUE : FALSE;
      case SOURCE_KIND_NONE:
        break;
    }
    return FALSE;
  } catch (const std::bad_alloc&) {
    CloseSource();  // a pin that was made before is of no use without the rest
    return FALSE;
  }
}

bool CZanMP4SourceFilter::open_file_manager(LPCOLESTR file_name) {
  file_manager_ = new_file_manager();
  if (!file_manager_) return false;
  descriptor_ = wide_file_descriptor(file_name);
  return true;
}

// Whatever the extension, the file is opened once as ISO media. Nothing depends on the outcome but the last
// error that it leaves: a missing file is told as such even when its extension is unknown.
void CZanMP4SourceFilter::probe() {
  P3gppFile* file = nullptr;
  if (P3GPP_Open(&file, &descriptor_, file_manager_.get()) == P3GPP_OK) P3GPP_Close(file);
}

bool CZanMP4SourceFilter::open_iso_media() {
  P3gppFile* file = nullptr;
  if (P3GPP_Open(&file, &descriptor_, file_manager_.get()) != P3GPP_OK) return false;
  iso_file_.reset(file);
  P3gppTrackCounts counts{};
  if (P3GPP_GetTrackCounts(file, &counts) != P3GPP_OK) return false;
  if (!size_of_file(descriptor_, file_manager_.get(), &file_size_)) return false;

  // Only the first track of each kind is played, and audio comes first.
  uint32_t audio_id = 0;
  if (counts.audio > 0) {
    audio_id = first_track_id(file, P3GPP_TRACK_AUDIO, counts.audio);
    audio_pin_ = add_track_pin(Stream::kAudio, audio_id);
  }
  if (counts.video > 0) {
    const uint32_t video_id = first_track_id(file, P3GPP_TRACK_VIDEO, counts.video);
    // Tracks are opened by ID. Under an ID that both have, the pins would share one track and its cursors.
    const bool is_taken = audio_pin_ != nullptr && video_id == audio_id;
    if (!is_taken) video_pin_ = add_track_pin(Stream::kVideo, video_id);
  }
  if (video_pin_ != nullptr) update_frame_rate();
  if (pins_.empty()) return false;
  find_longest_pin();
  return true;
}

void CZanMP4SourceFilter::find_longest_pin() {
  CZanBaseSourceOutputPin* longest = nullptr;
  UpdateDuration(&longest);
  const CAutoLock lock(&position_lock_);
  longest_pin_ = longest;
}

bool CZanMP4SourceFilter::open_amr_file(LPCOLESTR file_name) {
  AMRF_File* reader = nullptr;
  if (AMRF_Open(&reader, file_name) != AMRF_OK) return false;
  return add_file_pin(std::make_unique<AmrFile>(AmrFilePointer(reader)), u"AMR Audio1");
}

bool CZanMP4SourceFilter::open_aac_file(LPCOLESTR file_name) {
  AacFilePointer reader = open_aac_reader(file_name);
  return reader != nullptr && add_file_pin(std::make_unique<AacFile>(std::move(reader)), u"Audio1");
}

// The only pin of a speech or AAC file.
bool CZanMP4SourceFilter::add_file_pin(std::unique_ptr<FileStream> stream, LPCWSTR name) {
  HRESULT hr = S_OK;
  auto pin = std::make_unique<CZanMP4SourceOutputPin>(&hr, this, name);
  if (FAILED(hr)) return false;
  pin->SetupFile(std::move(stream));
  pins_.push_back(std::move(pin));
  find_longest_pin();
  return true;
}

// Null when the track cannot be played; nothing is left of the pin then.
CZanMP4SourceOutputPin* CZanMP4SourceFilter::add_track_pin(Stream stream, uint32_t track_id) {
  const bool is_audio = stream == Stream::kAudio;
  HRESULT hr = S_OK;
  auto pin = std::make_unique<CZanMP4SourceOutputPin>(&hr, this, is_audio ? u"Audio0" : u"Video0");
  if (FAILED(hr) || pin->SetupTrack(iso_file_.get(), track_id, stream, file_size_) != 0) return nullptr;
  pins_.push_back(std::move(pin));
  return pins_.back().get();
}

// Kept: of a file with audio, the rate is that over the longer of the two tracks.
void CZanMP4SourceFilter::update_frame_rate() {
  const auto media_ms = [](const CZanMP4SourceOutputPin* pin) {
    const P3gppTrackInfo* const info = pin->track_info();
    return media_time_to_whole_ms(info->media_duration, info->time_scale);
  };
  uint32_t duration_ms = media_ms(video_pin_);
  if (audio_pin_ != nullptr) duration_ms = std::max(duration_ms, media_ms(audio_pin_));
  const uint32_t frame_count = video_pin_->track_info()->sample_count;
  if (frame_count != 0 && duration_ms != 0) frame_rate_ = frame_rate_of(frame_count, duration_ms);
}

}  // namespace zdr::mp4source
