// An AMR or AMR-WB speech file as the stream of a pin.
#pragma once

#include "filters/source/mp4/readers/owned_handles.h"
#include "filters/source/mp4/sources/frame_source.h"

namespace zdr::mp4source {

class AmrFile final : public FileStream {
 public:
  // Counts the frames. A file of which they cannot be counted has no duration and is not rewound.
  explicit AmrFile(AmrFilePointer reader);

  SourceKind kind() const override { return SOURCE_KIND_AMR; }
  DWORD duration_ms() const override { return info_.duration_ms; }
  HRESULT build_media_type(CMediaType& type) override;
  uint64_t sample_bytes() const override;

 protected:
  Found find(REFERENCE_TIME target) override;
  bool can_rewind() const override { return counted_; }
  bool read_frame(uint32_t number, uint8_t* buffer, uint32_t room, uint32_t* size) override;
  int64_t time_before(uint32_t number) override;

 private:
  AmrFilePointer reader_;
  AMRF_Info info_{};
  bool counted_ = false;
  REFERENCE_TIME last_target_ = 0;  // of the seek before
};

}  // namespace zdr::mp4source
