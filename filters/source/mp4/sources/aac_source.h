// An AAC file as the stream of a pin: decoded by its reader, so the pin carries PCM.
#pragma once

#include <atomic>

#include "filters/source/mp4/readers/owned_handles.h"
#include "filters/source/mp4/sources/frame_source.h"

namespace zdr::mp4source {

// Null when the file cannot be opened.
AacFilePointer open_aac_reader(LPCOLESTR file_name);

class AacFile final : public FileStream {
 public:
  explicit AacFile(AacFilePointer reader);
  ~AacFile() override;
  AacFile(const AacFile&) = delete;
  AacFile& operator=(const AacFile&) = delete;

  SourceKind kind() const override { return SOURCE_KIND_AAC; }
  DWORD duration_ms() const override { return duration_.duration_ms; }
  HRESULT build_media_type(CMediaType& type) override;
  // Kept: unknown until a type has been asked for.
  uint64_t sample_bytes() const override;

 protected:
  Found find(REFERENCE_TIME target) override;
  bool read_frame(uint32_t number, uint8_t* buffer, uint32_t room, uint32_t* size) override;
  int64_t time_before(uint32_t number) override;

 private:
  AacFilePointer reader_;
  AACF_Duration duration_{};
  ID3P_Text tag_text_{};
  // Read while the type is asked for on another thread.
  std::atomic<int32_t> frame_bytes_{0};
};

}  // namespace zdr::mp4source
