#include "filters/source/mp4/sources/amr_source.h"

#include <algorithm>
#include <limits>

#include "filters/source/mp4/core/conversions.h"
#include "filters/source/mp4/media_types/media_type.h"

namespace zdr::mp4source {
namespace {

constexpr uint32_t kFirstFrame = 1;
constexpr int64_t kFrameMs = 20;

// Targets before the start look up 0, targets beyond 32 bits of milliseconds the largest.
uint32_t seek_ms(REFERENCE_TIME target) {
  return static_cast<uint32_t>(
      std::clamp<int64_t>(target / kUnitsPerMs, 0, std::numeric_limits<uint32_t>::max()));
}

}  // namespace

AmrFile::AmrFile(AmrFilePointer reader) : reader_(std::move(reader)) {
  counted_ = AMRF_Scan(reader_.get(), &info_) == AMRF_OK;
}

HRESULT AmrFile::build_media_type(CMediaType& type) {
  return build_amr_type_of_band(info_.codec == AMRF_CODEC_WB, {}, type);
}

uint64_t AmrFile::sample_bytes() const {
  return uint64_t{AMRF_MaxFrameSize()} * kFramesPerGroup;
}

// Kept: a seek to where the last one went, or at first to 0, changes nothing.
FileStream::Found AmrFile::find(REFERENCE_TIME target) {
  if (target == last_target_) return {SeekResult::kUnchanged, 0};
  uint32_t frame = kFirstFrame;
  const uint32_t ms = seek_ms(target);
  if (ms != 0 && AMRF_TimeToFrame(reader_.get(), ms, &frame) != AMRF_OK) return {SeekResult::kFailed, 0};
  last_target_ = target;
  return {SeekResult::kMoved, frame};
}

bool AmrFile::read_frame(uint32_t number, uint8_t* buffer, uint32_t room, uint32_t* size) {
  AMRF_FrameRequest request{number, room, buffer};
  if (AMRF_ReadFrame(reader_.get(), &request) != AMRF_OK) return false;
  *size = request.size;
  return true;
}

// Kept: the number has moved on by then, so a group is stamped with the end of its first frame.
int64_t AmrFile::time_before(uint32_t number) {
  return kFrameMs * number - kFrameMs;
}

}  // namespace zdr::mp4source
