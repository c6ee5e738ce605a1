// The filter for ISO media, speech and AAC files.
//
// Data flow: open_source.cpp opens the file and makes a pin (mp4_pin.h) for each stream. The pin's source
// (sources/) describes the stream to a decoder with media_types/ and fills samples on the pin's worker
// thread. A seek (seeking.cpp) moves all pins; SeekSync (sync/) brings audio and video together again
// afterwards.
//
// Threads. Graph threads (any that call the interfaces) load, connect, change state and seek. Each pin has
// one worker, which runs FillBuffer. While it streams, a renderer's thread may call Notify and a graph thread
// GetMediaType.
//
// Locks, outermost first:
//
// clang-format off
//   lock               guards                                      taken by
//   control mutex      one load, state change or seek at a time    graph threads only
//   state lock         pins, connections, state (base classes)     graph threads only: Stop and Pause hold it
//                                                                  while they wait for a worker, Load for the
//                                                                  whole open
//   source mutex       a source's reader: cursors, counters,       workers, graph and renderer threads
//                      formats
//   file manager's     its streams                                 every thread that reads
//   position lock      durations, positions, the file's name       any thread; a leaf, held for a few loads and
//                                                                  stores
//   SeekSync's mutex   the state of the resynchronisation          any thread; a leaf, likewise
// clang-format on
//
// While a thread waits for an event or a worker, delivers a sample, flushes a sink, or gets a buffer from an
// allocator, it holds nothing below the state lock, and a worker nothing at all. A worker never calls the
// base class for its pins, which would take the state lock; the peers that it needs are in SharedPlayback.
// The source kind, the frame rate and the time of the last sample are atomic and read without a lock. Clips
// have readers of their own, with their own locks; they share only the source kind and the frame rate with
// the filter.
#pragma once

#include <vector>

#include "filters/source/mp4/filter/base_source.h"
#include "filters/source/mp4/filter/mp4_pin.h"
#include "filters/source/mp4/readers/iso_file.h"

namespace zdr::mp4source {

class CZanMP4SourceFilter final : public CZanBaseSourceFilter {
 public:
  // For the class factory.
  static CUnknown* CreateInstance(IUnknown* outer, HRESULT* phr);

  CZanMP4SourceFilter(IUnknown* outer, HRESULT* phr);
  ~CZanMP4SourceFilter() override;

  BOOL OpenSource(LPCOLESTR file_name, const AM_MEDIA_TYPE* media_type) override;
  BOOL GetCurFileMediaType(AM_MEDIA_TYPE* media_type) override;
  HRESULT UpdateDuration(CZanBaseSourceOutputPin** longest) override;

  HRESULT Stop() override;
  HRESULT Pause() override;

  // IAMZandorVideoSource
  HRESULT OpenClip(LPCOLESTR file_name, ClipHandle** clip, BYTE** configuration,
                   DWORD* configuration_length) override;
  HRESULT GetKeyFrame(ClipHandle* clip, DWORD index, BYTE** buffer, DWORD* size) override;
  HRESULT GetClipInfo(ClipHandle* clip, ClipInfo* info) override;
  HRESULT CloseClip(ClipHandle* clip) override;

 protected:
  void CloseSource() override;
  void on_pin_seek(const GUID& major_type, bool worker_exists) override;
  void on_workers_stopped() override;

 private:
  using PinPointer = std::unique_ptr<CZanMP4SourceOutputPin>;

  SourceKind set_kind_from_name(LPCOLESTR file_name);
  bool open_file_manager(LPCOLESTR file_name);
  bool open_iso_media();
  bool open_speech(LPCOLESTR file_name);
  bool open_aac(LPCOLESTR file_name);
  PinPointer new_pin(LPCWSTR name);
  bool add_file_pin(PinPointer pin);
  CZanMP4SourceOutputPin* add_track_pin(StreamKind stream, P3gppFile* file, uint32_t track_id);
  void find_longest_pin();
  void update_frame_rate();
  bool takes_part_in_seek(CZanMP4SourceOutputPin* pin);

  SharedPlayback shared_;
  // In this order, because each needs those before it: the manager and the descriptor open the file again for
  // each track, and closing a track needs the file.
  FileManagerPointer file_manager_;
  FMGR_Descriptor descriptor_{};
  IsoFilePointer iso_file_;
  IsoFilePointer second_iso_file_;  // for a video pin whose track the audio pin has already
  uint64_t file_size_ = 0;
  std::vector<PinPointer> pins_;
};

}  // namespace zdr::mp4source
