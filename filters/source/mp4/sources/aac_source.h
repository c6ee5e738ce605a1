// An AAC file as the source of a pin: its reader decodes it, so the pin carries PCM.
#pragma once

#include <array>
#include <atomic>

#include "filters/source/mp4/readers/owned_handles.h"
#include "filters/source/mp4/sources/frame_source.h"

namespace zdr::mp4source {

class AacSource final : public FrameSource {
 public:
  AacSource(PlaybackContext& context, AacFilePointer reader);
  ~AacSource() override;

  DWORD duration_ms() const override { return duration_.duration_ms; }
  uint64_t sample_bytes() override;
  HRESULT build_media_type(CMediaType& type) override;

 protected:
  FoundFrame find_frame(REFERENCE_TIME target) override;
  bool read_frame(uint32_t number, uint8_t* buffer, uint32_t capacity, uint32_t* size) override;
  int64_t time_before(uint32_t number) override;

 private:
  static constexpr size_t kMostSamples = 2 * 2048;  // of a frame: two channels at the doubled rate

  AacFilePointer reader_;
  AACF_Duration duration_{};
  ID3P_Text tag_text_{};
  std::array<int16_t, kMostSamples> pcm_{};  // of the frame just read
  // Kept: the PCM bytes of a frame are unknown until build_media_type() has run, so the pin cannot be
  // connected before that. Another thread may build a type while this is read.
  std::atomic<int32_t> frame_bytes_{0};
};

}  // namespace zdr::mp4source
