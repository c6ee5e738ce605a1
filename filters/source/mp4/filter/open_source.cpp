// Opens a file: chooses the reader by the extension, then makes a pin for the first track of each kind.
#include <algorithm>
#include <new>

#include "filters/source/mp4/core/conversions.h"
#include "filters/source/mp4/filter/mp4_source.h"
#include "filters/source/mp4/readers/frame_file.h"

namespace zdr::mp4source {

BOOL CZanMP4SourceFilter::OpenSource(LPCOLESTR file_name, const AM_MEDIA_TYPE*) {
  try {
    // Kept: whatever its extension, the file is opened as ISO media first. Only the last error of that
    // attempt matters: it reports a missing file as missing even when the extension is unknown.
    if (open_file_manager(file_name)) open_iso_file(descriptor_, file_manager_.get());
    switch (set_kind_from_name(file_name)) {
      case SOURCE_KIND_MP4:
        return open_iso_media() ? TRUE : FALSE;
      case SOURCE_KIND_AMR:
        return open_speech(file_name) ? TRUE : FALSE;
      case SOURCE_KIND_AAC:
        return open_aac(file_name) ? TRUE : FALSE;
      case SOURCE_KIND_NONE:
        break;
    }
  } catch (const FileNotOpened&) {
    CloseSource();  // pins that were already made are useless without the rest
  }
  return FALSE;
}

// Sets the filter's kind to the file's, if the extension is known. Called for the file that is loaded, and
// for every clip: pins whose source is of another kind than the filter do nothing (CZanMP4SourceOutputPin).
SourceKind CZanMP4SourceFilter::set_kind_from_name(LPCOLESTR file_name) {
  const SourceKind kind = source_kind_of(file_name);
  if (kind != SOURCE_KIND_NONE) shared_.source_kind = kind;
  return kind;
}

bool CZanMP4SourceFilter::open_file_manager(LPCOLESTR file_name) {
  file_manager_ = new_file_manager();
  if (!file_manager_) return false;
  descriptor_ = wide_file_descriptor(file_name);
  return true;
}

bool CZanMP4SourceFilter::open_iso_media() {
  iso_file_ = open_iso_file(descriptor_, file_manager_.get());
  if (!iso_file_) return false;
  P3gppTrackCounts counts{};
  if (P3GPP_GetTrackCounts(iso_file_.get(), &counts) != P3GPP_OK) return false;
  if (!size_of_file(descriptor_, file_manager_.get(), &file_size_)) return false;

  // Kept: only the first track of each kind is tried, even if it cannot be played and a later one could.
  uint32_t audio_id = 0;
  if (counts.audio > 0) {
    audio_id = first_track_id(iso_file_.get(), P3GPP_TRACK_AUDIO, counts.audio);
    shared_.audio_pin = add_track_pin(StreamKind::kAudio, iso_file_.get(), audio_id);
  }
  if (counts.video > 0) {
    const uint32_t video_id = first_track_id(iso_file_.get(), P3GPP_TRACK_VIDEO, counts.video);
    P3gppFile* file = iso_file_.get();
    // Kept: tracks are opened by ID, so with one ID for both, the pins have the same track. They must not
    // share its cursors, so the video pin opens the file anew.
    if (shared_.audio_pin != nullptr && video_id == audio_id) {
      second_iso_file_ = open_iso_file(descriptor_, file_manager_.get());
      file = second_iso_file_.get();
    }
    if (file != nullptr) shared_.video_pin = add_track_pin(StreamKind::kVideo, file, video_id);
  }
  if (shared_.video_pin != nullptr) update_frame_rate();
  if (pins_.empty()) return false;
  find_longest_pin();
  return true;
}

bool CZanMP4SourceFilter::open_speech(LPCOLESTR file_name) {
  AmrFilePointer reader = open_amr_file(file_name);
  PinPointer pin = reader ? new_pin(u"AMR Audio1") : nullptr;
  if (pin) pin->SetupAmrFile(std::move(reader));
  return add_file_pin(std::move(pin));
}

bool CZanMP4SourceFilter::open_aac(LPCOLESTR file_name) {
  AacFilePointer reader = open_aac_file(file_name);
  PinPointer pin = reader ? new_pin(u"Audio1") : nullptr;
  if (pin) pin->SetupAacFile(std::move(reader));
  return add_file_pin(std::move(pin));
}

// Null if the pin cannot be made. Throws bad_alloc if memory runs out.
CZanMP4SourceFilter::PinPointer CZanMP4SourceFilter::new_pin(LPCWSTR name) {
  HRESULT hr = S_OK;
  PinOwner& owner = *this;
  auto pin = std::make_unique<CZanMP4SourceOutputPin>(&hr, this, owner, shared_, name);
  if (hr == E_OUTOFMEMORY) throw std::bad_alloc();
  return SUCCEEDED(hr) ? std::move(pin) : nullptr;
}

// The only pin of a speech or AAC file. False without one.
bool CZanMP4SourceFilter::add_file_pin(PinPointer pin) {
  if (!pin) return false;
  pins_.push_back(std::move(pin));
  find_longest_pin();
  return true;
}

// Null if the track cannot be played; its pin is destroyed then.
CZanMP4SourceOutputPin* CZanMP4SourceFilter::add_track_pin(StreamKind stream, P3gppFile* file,
                                                           uint32_t track_id) {
  PinPointer pin = new_pin(stream == StreamKind::kAudio ? u"Audio0" : u"Video0");
  if (!pin || pin->SetupTrack(file, track_id, stream, file_size_) != 0) return nullptr;
  pins_.push_back(std::move(pin));
  return pins_.back().get();
}

void CZanMP4SourceFilter::find_longest_pin() {
  CZanBaseSourceOutputPin* longest = nullptr;
  UpdateDuration(&longest);
  const CAutoLock lock(&position_lock);
  shared_.longest_pin = static_cast<CZanMP4SourceOutputPin*>(longest);
}

// Kept: in a file with audio, the frame rate is computed over the duration of the longer track.
void CZanMP4SourceFilter::update_frame_rate() {
  const auto media_ms = [](const CZanMP4SourceOutputPin* pin) {
    const P3gppTrackInfo* const info = pin->track_info();
    return media_time_to_whole_ms(info->media_duration, info->time_scale);
  };
  uint32_t duration_ms = media_ms(shared_.video_pin);
  if (shared_.audio_pin != nullptr) duration_ms = std::max(duration_ms, media_ms(shared_.audio_pin));
  const uint32_t frame_count = shared_.video_pin->track_info()->sample_count;
  if (frame_count != 0 && duration_ms != 0) shared_.frame_rate = frame_rate_of(frame_count, duration_ms);
}

}  // namespace zdr::mp4source
