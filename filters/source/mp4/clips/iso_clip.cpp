// Clips of ISO media files: key frames and configuration of the first video track, information about the
// first video and audio tracks.
#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "filters/source/mp4/clips/clip.h"
#include "filters/source/mp4/core/conversions.h"
#include "filters/source/mp4/readers/iso_file.h"
#include "filters/source/mp4/readers/iso_track.h"

namespace zdr::mp4source {
namespace {

constexpr uint32_t kTrackCacheBudget = 1024;
constexpr uint32_t kFirstSample = 1;

std::vector<uint8_t> avc_configuration(const P3gppAvcInfo& avc) {
  const auto length_field = nal_length_field(avc);
  std::vector<uint8_t> bytes(length_field.begin(), length_field.end());
  bytes.insert(bytes.end(), avc.sps_list, avc.sps_list + avc.sps_list_length);
  bytes.insert(bytes.end(), avc.pps_list, avc.pps_list + avc.pps_list_length);
  return bytes;
}

class IsoClip final : public Clip {
 public:
  IsoClip(const WCHAR* file_name, FileManagerPointer manager)
      : file_name_(file_name),
        manager_(std::move(manager)),
        descriptor_(wide_file_descriptor(file_name_.c_str())) {}

  HRESULT open(ClientBytes& configuration);

  HRESULT report(ClipInfo& info, std::atomic<double>& frame_rate) override;
  HRESULT read_key_frame(DWORD index, ClientBytes& frame) override;

 private:
  HRESULT open_video(uint32_t track_id, ClientBytes& configuration);
  HRESULT read_sample(uint32_t number, ClientBytes& sample);
  uint32_t number_of_key_frame(DWORD index);
  bool report_video(ClipInfo& info, uint32_t duration_ms, std::atomic<double>& frame_rate);
  bool report_audio(ClipInfo& info);

  // In this order, because each needs those before it.
  const std::u16string file_name_;
  FileManagerPointer manager_;
  const FMGR_Descriptor descriptor_;
  IsoFilePointer file_;
  IsoTrackPointer video_;
  P3gppTrackCounts counts_{};
  uint64_t file_size_ = 0;
};

HRESULT IsoClip::open(ClientBytes& configuration) {
  file_ = open_iso_file(descriptor_, manager_.get());
  if (!file_) return E_FAIL;
  reader = file_.get();
  if (P3GPP_GetTrackCounts(file_.get(), &counts_) != P3GPP_OK) return E_FAIL;
  if (counts_.video == 0) return S_OK;
  if (!size_of_file(descriptor_, manager_.get(), &file_size_)) return E_FAIL;
  return open_video(first_track_id(file_.get(), P3GPP_TRACK_VIDEO, counts_.video), configuration);
}

HRESULT IsoClip::open_video(uint32_t track_id, ClientBytes& configuration) {
  P3gppTrack* opened = nullptr;
  if (with_memory(P3GPP_OpenTrack(file_.get(), &opened, track_id, kTrackCacheBudget)) != P3GPP_OK)
    return E_FAIL;
  video_.reset(opened);
  track = opened;
  const DecoderInfoPointer decoder = read_decoder_info(file_.get(), track_id);
  if (!decoder) return E_FAIL;

  bool copied = true;
  if (decoder->object_type == P3GPP_OTI_MPEG4_VISUAL && decoder->kind == P3GPP_KIND_SYSTEMS) {
    const P3gppSystemsInfo& systems = decoder->u.systems;
    copied =
        copy_for_client({systems.decoder_specific_info, systems.decoder_specific_info_length}, configuration);
  } else if (decoder->object_type == P3GPP_OTI_AVC && decoder->kind == P3GPP_KIND_CODEC) {
    copied = copy_for_client(avc_configuration(decoder->u.avc), configuration);
  } else if (decoder->object_type == P3GPP_OTI_H263) {
    // Kept: the configuration of H.263 is the first sample.
    return read_sample(kFirstSample, configuration);
  }
  return copied ? S_OK : E_OUTOFMEMORY;
}

// Locates the sample first, so that no memory is allocated for a size that exceeds the file size.
HRESULT IsoClip::read_sample(uint32_t number, ClientBytes& sample) {
  P3gppSample request{};
  request.number = number;
  if (with_memory(P3GPP_ReadSample(video_.get(), &request)) != P3GPP_OK || request.size > file_size_)
    return E_FAIL;
  ClientBytes read;
  // An empty sample has a buffer that is not null.
  read.bytes.reset(static_cast<BYTE*>(std::malloc(std::max<size_t>(request.size, 1))));
  if (!read.bytes) return E_OUTOFMEMORY;
  request.buffer = read.bytes.get();
  if (with_memory(P3GPP_ReadSampleBounded(video_.get(), &request, request.size)) != P3GPP_OK) return E_FAIL;
  read.size = request.size;
  sample = std::move(read);
  return S_OK;
}

// Kept: the first sample is key frame 1 even if it is not one, and an index after the last key frame returns
// the last.
uint32_t IsoClip::number_of_key_frame(DWORD index) {
  // If every sample is a sync sample, the search would only count up to the index, through as many samples as
  // the file claims.
  uint32_t all_sync = 0;
  if (with_memory(P3GPP_GetAllSyncCount(video_.get(), &all_sync)) == P3GPP_OK && all_sync != 0) {
    return std::clamp(index, kFirstSample, all_sync);
  }
  uint32_t number = kFirstSample;
  // Kept: where sync samples follow each other, the result of a search depends on the previous searches, and
  // so does the frame at an index.
  for (DWORD counted = 1; counted < index;) {
    uint32_t found = number;
    if (with_memory(P3GPP_FindSyncSample(video_.get(), &found, P3GPP_SYNC_FORWARD)) != P3GPP_OK) break;
    if (found == number) {
      ++number;
      continue;
    }
    number = found;
    ++counted;
  }
  return number;
}

HRESULT IsoClip::read_key_frame(DWORD index, ClientBytes& frame) {
  return read_sample(number_of_key_frame(index), frame);
}

HRESULT IsoClip::report(ClipInfo& info, std::atomic<double>& frame_rate) {
  P3gppMovieInfo movie{};
  const int32_t status = P3GPP_GetMovieInfo(file_.get(), &movie);
  const uint32_t duration_ms = media_time_to_whole_ms(movie.duration, movie.time_scale);
  if (movie.release != nullptr) movie.release(&movie);
  if (with_memory(status) != P3GPP_OK) return E_FAIL;
  info.duration_ms = duration_ms;
  if (counts_.video > 0 && !report_video(info, duration_ms, frame_rate)) return E_FAIL;
  if (counts_.audio > 0 && !report_audio(info)) return E_FAIL;
  return S_OK;
}

bool IsoClip::report_video(ClipInfo& info, uint32_t duration_ms, std::atomic<double>& frame_rate) {
  const uint32_t id = first_track_id(file_.get(), P3GPP_TRACK_VIDEO, counts_.video);
  const TrackInfoPointer description = read_track_info(file_.get(), id);
  if (!description) return false;
  // Kept: this is the filter's frame rate.
  if (description->sample_count != 0 && duration_ms != 0) {
    frame_rate = frame_rate_of(description->sample_count, duration_ms);
  }
  const DecoderInfoPointer decoder = read_decoder_info(file_.get(), id);
  if (!decoder) return false;
  const auto store_picture = [&](DWORD codec, uint16_t width, uint16_t height) {
    info.video_codec = codec;
    info.width = width;
    info.height = height;
    info.frame_rate = frame_rate;
  };
  if (decoder->kind == P3GPP_KIND_SYSTEMS && decoder->object_type == P3GPP_OTI_MPEG4_VISUAL) {
    store_picture(kClipMpeg4Video, decoder->u.systems.width, decoder->u.systems.height);
    info.sl_config = 0;
    info.sl_config_length = decoder->u.systems.sl_config_length;
  } else if (decoder->object_type == P3GPP_OTI_H263) {
    // H.263 also when only the object type says so: open_video() returned its first sample.
    const bool is_systems = decoder->kind == P3GPP_KIND_SYSTEMS;
    store_picture(kClipH263Video, is_systems ? decoder->u.systems.width : decoder->u.h263.width,
                  is_systems ? decoder->u.systems.height : decoder->u.h263.height);
  } else if (decoder->kind == P3GPP_KIND_CODEC && decoder->object_type == P3GPP_OTI_AVC) {
    store_picture(kClipAvcVideo, decoder->u.avc.width, decoder->u.avc.height);
  }
  return true;
}

bool IsoClip::report_audio(ClipInfo& info) {
  const DecoderInfoPointer decoder =
      read_decoder_info(file_.get(), first_track_id(file_.get(), P3GPP_TRACK_AUDIO, counts_.audio));
  if (!decoder) return false;
  const auto store_sound = [&](DWORD codec, DWORD sample_rate, DWORD channels) {
    info.audio_codec = codec;
    info.sample_rate = sample_rate;
    info.channels = channels;
  };
  switch (decoder->object_type) {
    case P3GPP_OTI_AMR:
      store_sound(kClipAmrAudio, 8000, 1);
      break;
    case P3GPP_OTI_AMR_WB:
      store_sound(kClipAmrWbAudio, 16000, 1);
      break;
    case P3GPP_OTI_QCELP:
      store_sound(kClipQcelpAudio, 8000, 1);
      break;
    case P3GPP_OTI_AAC:
    case P3GPP_OTI_MPEG2_AAC_LC:
      if (decoder->kind != P3GPP_KIND_SYSTEMS) break;
      store_sound(kClipAacAudio, decoder->u.systems.sample_rate, decoder->u.systems.channel_count);
      break;
    default:
      break;
  }
  return true;
}

}  // namespace

OpenedClip open_iso_clip(const WCHAR* file_name, FileManagerPointer manager) {
  auto clip = std::make_unique<IsoClip>(file_name, std::move(manager));
  OpenedClip opened{};
  opened.result = clip->open(opened.configuration);
  if (opened.result == S_OK) opened.clip = std::move(clip);
  return opened;
}

}  // namespace zdr::mp4source
