// Describes speech files, and finds, reads and times their frames.
#include "filters/source/mp4/sources/amr_source.h"

#include "filters/source/mp4/core/conversions.h"
#include "filters/source/mp4/media_types/media_type.h"

namespace zdr::mp4source {
namespace {

constexpr uint32_t kFirstFrame = 1;
constexpr int64_t kFrameMs = 20;

}  // namespace

AmrSource::AmrSource(PlaybackContext& context, AmrFilePointer reader)
    : FrameSource(SOURCE_KIND_AMR, context, g_first_amr_sample), reader_(std::move(reader)) {
  counted_ = AMRF_Scan(reader_.get(), &info_) == AMRF_OK;
}

HRESULT AmrSource::build_media_type(CMediaType& type) {
  return build_amr_type_of_band(info_.codec == AMRF_CODEC_WB, {}, type);
}

uint64_t AmrSource::sample_bytes() {
  return uint64_t{AMRF_MaxFrameSize()} * kFramesPerGroup;
}

// Kept: a seek to the target of the previous seek does not move the file, nor does a first seek to 0.
FrameSource::FoundFrame AmrSource::find_frame(REFERENCE_TIME target) {
  if (target == last_target_) return {SeekResult::kUnchanged, 0};
  uint32_t frame = kFirstFrame;
  const uint32_t ms = seek_ms(target, 0);
  if (ms != 0 && AMRF_TimeToFrame(reader_.get(), ms, &frame) != AMRF_OK) return {SeekResult::kFailed, 0};
  last_target_ = target;
  return {SeekResult::kMoved, frame};
}

bool AmrSource::read_frame(uint32_t number, uint8_t* buffer, uint32_t capacity, uint32_t* size) {
  AMRF_FrameRequest request{number, capacity, buffer};
  if (AMRF_ReadFrame(reader_.get(), &request) != AMRF_OK) return false;
  *size = request.size;
  return true;
}

// Kept: `number` is already the next frame, so a group is stamped with the end of its first frame.
int64_t AmrSource::time_before(uint32_t number) {
  return kFrameMs * number - kFrameMs;
}

}  // namespace zdr::mp4source
