// Clips of speech files, and of files that nothing reads.
#include "filters/source/mp4/clips/clip.h"

#include <cstdlib>
#include <cstring>

namespace zdr::mp4source {
namespace {

// Kept: such a file opens, and only its handle shows that it is of no use.
class UnknownClip final : public Clip {
 public:
  HRESULT tell(ClipInfo&, std::atomic<double>&) override { return S_OK; }
  HRESULT close() override { return E_FAIL; }
};

class AmrClip final : public Clip {
 public:
  explicit AmrClip(AmrFilePointer amr) : amr_(std::move(amr)) { reader = amr_.get(); }

  HRESULT tell(ClipInfo& info, std::atomic<double>&) override {
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

bool copy_for_client(std::span<const uint8_t> bytes, ClientBytes& copy) {
  copy = {};
  if (bytes.empty()) return true;
  copy.bytes.reset(static_cast<BYTE*>(std::malloc(bytes.size())));
  if (!copy.bytes) return false;
  std::memcpy(copy.bytes.get(), bytes.data(), bytes.size());
  copy.size = static_cast<DWORD>(bytes.size());
  return true;
}

HRESULT Clip::read_key_frame(DWORD, ClientBytes&) {
  return E_FAIL;
}

OpenedClip open_amr_clip(std::u16string_view file_name) {
  AMRF_File* reader = nullptr;
  if (AMRF_Open(&reader, std::u16string(file_name).c_str()) != AMRF_OK) return {E_FAIL, nullptr, {}};
  return {S_OK, std::make_unique<AmrClip>(AmrFilePointer(reader)), {}};
}

OpenedClip open_clip(SourceKind kind, std::u16string_view file_name, FileManagerPointer manager) {
  switch (kind) {
    case SOURCE_KIND_MP4:
      return open_iso_clip(file_name, std::move(manager));
    case SOURCE_KIND_AMR:
      return open_amr_clip(file_name);
    case SOURCE_KIND_AAC:
      return open_aac_clip(file_name);
    case SOURCE_KIND_NONE:
      break;
  }
  return {S_OK, std::make_unique<UnknownClip>(), {}};
}

}  // namespace zdr::mp4source
