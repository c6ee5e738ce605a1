// A track of an ISO media file as the source of a pin.
#pragma once

#include <optional>
#include <span>

#include "filters/source/mp4/readers/iso_track.h"
#include "filters/source/mp4/sources/sample_source.h"

namespace zdr::mp4source {

class IsoSource final : public SampleSource {
 public:
  explicit IsoSource(PlaybackContext& context) : SampleSource(SOURCE_KIND_MP4, context) {}

  // As IsoTrack::open().
  bool open(P3gppFile* file, uint32_t track_id, StreamKind stream, uint64_t file_size) {
    return track_.open(file, track_id, stream, file_size);
  }

  StreamKind stream() const override { return track_.stream(); }
  DWORD duration_ms() const override { return track_.duration_ms(); }
  uint64_t sample_bytes() override;
  const P3gppTrackInfo* track_info() const override { return track_.info(); }
  HRESULT build_media_type(CMediaType& type) override;
  bool accepts(const CMediaType& type) override;
  void skip_if_late(REFERENCE_TIME lateness) override;
  HRESULT fill(IMediaSample* sample) override;

 private:
  // Access units in the buffer of a media sample.
  struct ReadUnits {
    uint32_t size;         // bytes
    REFERENCE_TIME start;  // from the start of the media
    FrameTiming timing;
  };

  bool is_video() const { return track_.stream() == StreamKind::kVideo; }
  HRESULT fill_from(Positions segment, IMediaSample* sample);
  bool start_at_sync_sample(const Positions& segment, IMediaSample* sample);
  HRESULT mark_and_get_buffer(IMediaSample* sample, BYTE** buffer);
  std::optional<ReadUnits> read_up_to(REFERENCE_TIME stop_position, std::span<BYTE> buffer);
  void join_peer(REFERENCE_TIME absolute_start);
  void abandon_seek(HRESULT hr);

  IsoTrack track_;
};

}  // namespace zdr::mp4source
