// Clips of speech files.
#include "filters/source/mp4/clips/clip.h"
#include "filters/source/mp4/readers/frame_file.h"

namespace zdr::mp4source {
namespace {

class AmrClip final : public Clip {
 public:
  explicit AmrClip(AmrFilePointer amr) : amr_(std::move(amr)) { reader = amr_.get(); }

  HRESULT report(ClipInfo& info, std::atomic<double>&) override {
    AMRF_Info speech{};
    if (AMRF_Scan(amr_.get(), &speech) != AMRF_OK) return E_FAIL;
    const bool wide_band = speech.codec == AMRF_CODEC_WB;
    info.audio_codec = wide_band ? kClipAmrWbAudio : kClipAmrAudio;
    info.sample_rate = wide_band ? 16000 : 8000;
    info.channels = 1;
    info.duration_ms = speech.duration_ms;
    return S_OK;
  }
  HRESULT close() override { return AMRF_Close(amr_.release()); }

 private:
  AmrFilePointer amr_;
};

}  // namespace

OpenedClip open_amr_clip(const WCHAR* file_name) {
  AmrFilePointer amr = open_amr_file(file_name);
  if (!amr) return {E_FAIL, nullptr, {}};
  return {S_OK, std::make_unique<AmrClip>(std::move(amr)), {}};
}

}  // namespace zdr::mp4source
