// Clips of AAC files.
#include "filters/source/mp4/clips/clip.h"
#include "filters/source/mp4/readers/frame_file.h"

namespace zdr::mp4source {
namespace {

class AacClip final : public Clip {
 public:
  explicit AacClip(AacFilePointer aac) : aac_(std::move(aac)) { reader = aac_.get(); }

  HRESULT report(ClipInfo& info, std::atomic<double>&) override {
    AACF_Duration duration{};
    Zd_AAC_Dec_Config config{};
    if (AACF_GetDuration(aac_.get(), &duration) != AACF_OK) return E_FAIL;
    if (AACF_GetConfig(aac_.get(), &config) != AACF_OK) return E_FAIL;
    info.audio_codec = kClipAacAudio;
    info.sample_rate = static_cast<DWORD>(config.outputRate);
    info.channels = static_cast<DWORD>(config.channels);
    info.duration_ms = duration.duration_ms;
    return S_OK;
  }
  HRESULT close() override { return AACF_Close(aac_.release()); }

 private:
  AacFilePointer aac_;
};

}  // namespace

OpenedClip open_aac_clip(const WCHAR* file_name) {
  AacFilePointer aac = open_aac_file(file_name);
  if (!aac) return {E_FAIL, nullptr, {}};
  return {S_OK, std::make_unique<AacClip>(std::move(aac)), {}};
}

}  // namespace zdr::mp4source
