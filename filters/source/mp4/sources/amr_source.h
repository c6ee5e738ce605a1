// An AMR or AMR-WB speech file as the source of a pin.
#pragma once

#include "filters/source/mp4/readers/owned_handles.h"
#include "filters/source/mp4/sources/frame_source.h"

namespace zdr::mp4source {

class AmrSource final : public FrameSource {
 public:
  // Counts the frames. If that fails, the file has no duration and is not rewound.
  AmrSource(PlaybackContext& context, AmrFilePointer reader);

  DWORD duration_ms() const override { return info_.duration_ms; }
  uint64_t sample_bytes() override;
  HRESULT build_media_type(CMediaType& type) override;

 protected:
  FoundFrame find_frame(REFERENCE_TIME target) override;
  bool can_rewind() const override { return counted_; }
  bool read_frame(uint32_t number, uint8_t* buffer, uint32_t capacity, uint32_t* size) override;
  int64_t time_before(uint32_t number) override;

 private:
  AmrFilePointer reader_;
  AMRF_Info info_{};
  bool counted_ = false;
  REFERENCE_TIME last_target_ = 0;  // of the previous seek
};

}  // namespace zdr::mp4source
