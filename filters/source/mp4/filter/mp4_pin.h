// The pin of one stream, and what it shares with its filter.
#pragma once

#include <atomic>
#include <memory>

#include "filters/source/mp4/filter/base_pin.h"
#include "filters/source/mp4/readers/owned_handles.h"
#include "filters/source/mp4/sources/sample_source.h"

namespace zdr::mp4source {

class CZanMP4SourceOutputPin;

// The filter's state that its pins use. The filter owns it.
struct SharedPlayback {
  // The filter's kind. Opening a clip may make it differ from the kind of the pins' sources.
  std::atomic<SourceKind> source_kind{SOURCE_KIND_NONE};
  std::atomic<double> frame_rate{0.0};  // frames per second; 0 if unknown
  SeekSync seek_sync;
  // Null, or fixed while the file is loaded. The longest pin is guarded by the position lock.
  CZanMP4SourceOutputPin* audio_pin = nullptr;
  CZanMP4SourceOutputPin* video_pin = nullptr;
  const CZanMP4SourceOutputPin* longest_pin = nullptr;

  SharedPlayback(HANDLE av_data_available, HANDLE seek_handling)
      : seek_sync(av_data_available, seek_handling) {}
};

class CZanMP4SourceOutputPin final : public CZanBaseSourceOutputPin, private PlaybackContext {
 public:
  CZanMP4SourceOutputPin(HRESULT* phr, CSource* filter, PinOwner& owner, SharedPlayback& shared,
                         LPCWSTR name);
  ~CZanMP4SourceOutputPin() override;

  // Binds the pin to a track. 0, or 1 when the track cannot be played and is to be skipped.
  int SetupTrack(P3gppFile* file, uint32_t track_id, StreamKind stream, uint64_t file_size);
  // Bind the pin to a speech or AAC file instead.
  void SetupAmrFile(AmrFilePointer reader);
  void SetupAacFile(AacFilePointer reader);

  // The functions below need a bound pin.

  StreamKind stream() const { return source_->stream(); }
  const P3gppTrackInfo* track_info() const { return source_->track_info(); }
  DWORD GetDurationMs() override;
  // Called when the filter has stopped.
  void rewind();

  // One type, at position 0. After a failure the result may differ: see build_aac_type().
  HRESULT GetMediaType(int position, CMediaType* type) override;
  bool LacksMemory(HRESULT hr) const noexcept override;
  HRESULT CheckMediaType(const CMediaType* type) override;
  HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* properties) override;

  HRESULT GetCurrentPosition(LONGLONG* current) override;
  HRESULT Notify(IBaseFilter* sender, Quality quality) override;

 protected:
  HRESULT FillBuffer(IMediaSample* sample) override;
  HRESULT OnThreadCreate() override;
  HRESULT OnThreadDestroy() override;
  HRESULT DoBufferProcessingLoop() override;

 private:
  SampleSource* active_source() const;
  uint64_t sample_bytes() const;

  PlaybackContext& context() { return *this; }

  // PlaybackContext
  Positions positions() override { return CZanBaseSourceOutputPin::positions(); }
  void clear_seek_pending() override { CZanBaseSourceOutputPin::clear_seek_pending(); }
  void set_segment_start(REFERENCE_TIME start) override { CZanBaseSourceOutputPin::set_segment_start(start); }
  void rebase_both_pins(REFERENCE_TIME start) override;
  HANDLE request_handle() override { return GetRequestHandle(); }
  SeekSync& seek_sync() override { return shared_.seek_sync; }
  double frame_rate() override { return shared_.frame_rate; }

  SharedPlayback& shared_;
  std::unique_ptr<SampleSource> source_;
};

}  // namespace zdr::mp4source
