// Describes AAC files, and finds, decodes and times their frames.
//
// Kept: the decoder is one frame late. The first frame read after opening or a seek yields no PCM; each later
// frame yields the PCM of the frame before it. The frame that the decoder holds back survives a stop.
#include "filters/source/mp4/sources/aac_source.h"

#include <algorithm>
#include <cstring>
#include <span>

#include "filters/source/mp4/core/conversions.h"
#include "filters/source/mp4/media_types/media_type.h"
#include "platform/dshow/pcm_order.h"

namespace zdr::mp4source {
namespace {

constexpr WORD kBitsPerSample = 16;

WAVEFORMATEX pcm_format(const Zd_AAC_Dec_Config& config) {
  WAVEFORMATEX format{};
  format.wFormatTag = WAVE_FORMAT_PCM;
  format.nChannels = static_cast<WORD>(config.channels);
  format.nSamplesPerSec = static_cast<DWORD>(config.outputRate);
  format.nBlockAlign = static_cast<WORD>(format.nChannels * (kBitsPerSample / 8));
  format.nAvgBytesPerSec = format.nSamplesPerSec * format.nBlockAlign;
  format.wBitsPerSample = kBitsPerSample;
  return format;
}

}  // namespace

AacSource::AacSource(PlaybackContext& context, AacFilePointer reader)
    : FrameSource(SOURCE_KIND_AAC, context, g_first_aac_sample), reader_(std::move(reader)) {
  AACF_GetTagText(reader_.get(), &tag_text_);
  AACF_GetDuration(reader_.get(), &duration_);
}

AacSource::~AacSource() {
  if (tag_text_.release != nullptr) tag_text_.release(&tag_text_);
}

HRESULT AacSource::build_media_type(CMediaType& type) {
  const std::lock_guard lock(mutex_);
  Zd_AAC_Dec_Config config{};
  if (AACF_GetConfig(reader_.get(), &config) != AACF_OK) return kTypeNotBuilt;
  frame_bytes_ = config.outputBytes;
  const WAVEFORMATEX format = pcm_format(config);
  BYTE* const block = new_format_block(type, sizeof format);
  if (block == nullptr) return E_OUTOFMEMORY;
  std::memcpy(block, &format, sizeof format);
  set_audio_type(MEDIASUBTYPE_PCM, FORMAT_WaveFormatEx, type);
  return S_OK;
}

uint64_t AacSource::sample_bytes() {
  return uint64_t{static_cast<uint32_t>(std::max(frame_bytes_.load(), 0))} * kFramesPerGroup;
}

// Kept: the reader has no frame for time 0, so a seek to it requests 1 ms; and a seek to the current position
// restarts the decoder.
FrameSource::FoundFrame AacSource::find_frame(REFERENCE_TIME target) {
  uint32_t frame = 0;
  const bool found = AACF_RefreshConfig(reader_.get()) == AACF_OK &&
                     AACF_TimeToFrame(reader_.get(), seek_ms(target, 1), &frame) == AACF_OK;
  return found ? FoundFrame{SeekResult::kMoved, frame} : FoundFrame{SeekResult::kFailed, 0};
}

bool AacSource::read_frame(uint32_t number, uint8_t* buffer, uint32_t capacity, uint32_t* size) {
  // The buffer of a media sample may have any alignment.
  const uint32_t pcm_bytes = std::min(capacity, static_cast<uint32_t>(sizeof pcm_));
  AACF_FrameRequest request{number, pcm_bytes, pcm_.data()};
  if (AACF_ReadFrame(reader_.get(), &request) != AACF_OK) return false;
  dshow::to_pcm_order(std::span(pcm_).first(request.size / sizeof(int16_t)));
  std::memcpy(buffer, pcm_.data(), request.size);
  *size = request.size;
  return true;
}

// `number` is already the next frame, so a group is stamped with the end of its first frame.
int64_t AacSource::time_before(uint32_t number) {
  uint64_t time_ms = 0;
  AACF_FrameToTime(reader_.get(), number, &time_ms);
  return static_cast<int64_t>(time_ms);
}

}  // namespace zdr::mp4source
