// The source filter and its pins.
//
// Data goes: open_source.cpp finds the tracks and makes a pin for each; media_type*.cpp describe a stream to
// a decoder; pin.cpp sizes the samples; fill_iso.cpp and fill_file.cpp fill them on the pin's worker thread;
// seeking.cpp moves all pins; seek_sync.h brings audio and video together again afterwards.
//
// Threads. Graph threads (any that call the interfaces) load, connect, change state, seek. Each pin has one
// worker, which runs FillBuffer. A renderer's thread may call Notify, and a graph thread GetMediaType, while
// the worker streams.
//
// Locks, outermost first:
//
// clang-format off
//   lock               guards                                      taken by
//   control mutex      one load, state change or seek at a time    graph threads only
//   state lock         pins, connections, state (base classes)     graph threads only: Stop and Pause hold it
//                                                                  while they wait for a worker, Load for the
//                                                                  whole open
//   pin mutex          a pin's track: cursors, counters, formats   workers, graph and renderer threads
//   file manager's     its streams                                 whoever reads
//   position lock      durations, positions, the file's name       anyone; a leaf, for a few loads and stores
//   SeekSync's mutex   the state of the resynchronisation          anyone; a leaf likewise
// clang-format on
//
// While an event is awaited, a sample delivered, a worker commanded, a sink flushed, or an allocator asked
// for a buffer, nothing below the state lock is held, and by a worker nothing at all. A worker never asks the
// base class for its pins (that takes the state lock); the peers it needs are cached in the filter. Read
// without a lock, and therefore atomic: the source kind, the frame rate, the last delivered time. Clips have
// readers of their own, and what those need; with the filter they share only the first two of these.
#pragma once

#include <streams.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

#include "filters/source/mp4/core/source_kind.h"
#include "filters/source/mp4/interfaces/zandor_video_source.h"
#include "filters/source/mp4/readers/iso_track.h"
#include "filters/source/mp4/readers/owned_handles.h"
#include "filters/source/mp4/sources/frame_source.h"
#include "filters/source/mp4/sync/seek_sync.h"

namespace zdr::mp4source {

inline constexpr WCHAR kFilterName[] = u"Zandor AMR/QCP/3GPP/MP4/3G2 Source Filter";

// What the filter tells the registry about itself.
extern const AMOVIESETUP_FILTER kFilterSetup;

class CZanBaseSourceOutputPin;
class CZanMP4SourceOutputPin;

// A pin's place in the file: 100 ns units, absolute.
struct Positions {
  REFERENCE_TIME start = 0;  // time stamps count from here
  REFERENCE_TIME stop = 0;
  bool seek_pending = false;  // the worker has yet to reposition its reader
};

// What a seek gives to every pin. A null value leaves the pin its own.
struct SeekTarget {
  const REFERENCE_TIME* start;
  const REFERENCE_TIME* stop;
};

// A file as a source: its name, its length, the two events that its pins share.
class CZanBaseSourceFilter : public CSource, public IFileSourceFilter, public IAMZandorVideoSource {
 public:
  CZanBaseSourceFilter(CObjectName name, IUnknown* outer, HRESULT* phr);

  DECLARE_IUNKNOWN
  HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override;
  LPAMOVIESETUP_FILTER GetSetupData() override;

  // Opens the file and makes the pins. TRUE when there is something to play. `file_name` lasts until all that
  // was opened by it is closed.
  virtual BOOL OpenSource(LPCOLESTR file_name, const AM_MEDIA_TYPE* media_type) = 0;
  // Clears the record when one is given: files have no media type of their own.
  virtual BOOL GetCurFileMediaType(AM_MEDIA_TYPE* media_type) = 0;
  // Takes the duration of the longest pin for the filter's. *longest is null without pins.
  virtual HRESULT UpdateDuration(CZanBaseSourceOutputPin** longest) = 0;

  // IFileSourceFilter. Load succeeds once; after a failure it may be tried again.
  HRESULT Load(LPCOLESTR file_name, const AM_MEDIA_TYPE* media_type) override;
  HRESULT GetCurFile(LPOLESTR* file_name, AM_MEDIA_TYPE* media_type) override;

  HRESULT Stop() override;
  HRESULT Pause() override;
  HRESULT Run(REFERENCE_TIME start) override;

 protected:
  friend class CZanBaseSourceOutputPin;

  // Undoes what a failed OpenSource has left open.
  virtual void CloseSource() = 0;
  // A seek: told of each pin's stream while its worker is about to stop, then that all workers stand.
  virtual void OnPinSought(const GUID& major_type, bool worker_exists) = 0;
  virtual void OnWorkersStopped() = 0;

  bool keep_file_name(LPCOLESTR file_name);
  CZanBaseSourceOutputPin* pin_at(int index);
  void end_live_workers();
  void seek_pins(const SeekTarget& target);
  void set_events();
  void reset_events();

  // Recursive, because Run calls Pause.
  std::recursive_mutex control_mutex_;
  CCritSec position_lock_;
  UniqueHandle seek_handling_event_;
  UniqueHandle av_data_available_event_;
  bool loaded_ = false;

  // Guarded by the position lock. The name is changed by Load alone, which may read it without.
  std::unique_ptr<WCHAR[]> file_name_;
  REFERENCE_TIME duration_ = 0;
  REFERENCE_TIME current_position_ = 0;
  REFERENCE_TIME stop_position_ = 0;
  CZanBaseSourceOutputPin* longest_pin_ = nullptr;
};

// The filter for ISO media, AMR and AAC files.
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

  // For the pins.
  SourceKind source_kind() const { return source_kind_; }
  double frame_rate() const { return frame_rate_; }  // frames per second; 0 when unknown
  SeekSync& seek_sync() { return seek_sync_; }
  const CZanMP4SourceOutputPin* longest_pin();
  // Moves the segment start of both pins, but not of one that has been sought meanwhile.
  void rebase_segments(REFERENCE_TIME start);

 protected:
  void CloseSource() override;
  void OnPinSought(const GUID& major_type, bool worker_exists) override;
  void OnWorkersStopped() override;

 private:
  using PinPointer = std::unique_ptr<CZanMP4SourceOutputPin>;

  bool open_file_manager(LPCOLESTR file_name);
  void probe();
  bool open_iso_media();
  bool open_amr_file(LPCOLESTR file_name);
  bool open_aac_file(LPCOLESTR file_name);
  bool add_file_pin(std::unique_ptr<FileStream> stream, LPCWSTR name);
  void find_longest_pin();
  CZanMP4SourceOutputPin* add_track_pin(Stream stream, uint32_t track_id);
  void update_frame_rate();
  bool takes_part_in_seek(CZanMP4SourceOutputPin* pin);

  std::atomic<SourceKind> source_kind_{SOURCE_KIND_NONE};
  std::atomic<double> frame_rate_{0.0};
  SeekSync seek_sync_;
  // In this order, for each needs those before it: the manager and the descriptor open the file again for
  // each track, and closing a track needs the file.
  FileManagerPointer file_manager_;
  FMGR_Descriptor descriptor_{};
  IsoFilePointer iso_file_;
  uint64_t file_size_ = 0;
  std::vector<PinPointer> pins_;
  // Of pins_; fixed once the file is loaded.
  CZanMP4SourceOutputPin* audio_pin_ = nullptr;
  CZanMP4SourceOutputPin* video_pin_ = nullptr;
};

// An output pin of any file source: its positions, and seeking.
class CZanBaseSourceOutputPin : public CSourceStream, public IMediaSeeking {
 public:
  CZanBaseSourceOutputPin(CObjectName object_name, HRESULT* phr, CZanBaseSourceFilter* owner, LPCWSTR name);

  DECLARE_IUNKNOWN
  HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

  // The stream's duration in whole milliseconds, which also becomes the pin's stop position.
  virtual DWORD GetDurationMs() = 0;

  // IMediaSeeking, in media time only. A seek on one pin moves all pins of the filter.
  HRESULT GetCapabilities(DWORD* capabilities) override;
  HRESULT CheckCapabilities(DWORD* capabilities) override;
  HRESULT IsFormatSupported(const GUID* format) override;
  HRESULT QueryPreferredFormat(GUID* format) override;
  HRESULT GetTimeFormat(GUID* format) override;
  HRESULT IsUsingTimeFormat(const GUID* format) override;
  HRESULT SetTimeFormat(const GUID* format) override;
  HRESULT GetDuration(LONGLONG* duration) override;
  HRESULT GetStopPosition(LONGLONG* stop) override;
  HRESULT ConvertTimeFormat(LONGLONG* target, const GUID* target_format, LONGLONG source,
                            const GUID* source_format) override;
  HRESULT SetPositions(LONGLONG* current, DWORD current_flags, LONGLONG* stop, DWORD stop_flags) override;
  HRESULT GetPositions(LONGLONG* current, LONGLONG* stop) override;
  HRESULT GetAvailable(LONGLONG* earliest, LONGLONG* latest) override;
  HRESULT SetRate(double rate) override;
  HRESULT GetRate(double* rate) override;
  HRESULT GetPreroll(LONGLONG* preroll) override;

  // Ends a worker that outlived a failed state change. No effect without one.
  void end_worker();

 protected:
  HRESULT OnThreadStartPlay() override;

  Positions positions();
  void set_stop_position(REFERENCE_TIME stop);
  void set_segment_start(REFERENCE_TIME start);
  void clear_seek_pending();

  CZanBaseSourceFilter* const owner_;

 private:
  friend class CZanBaseSourceFilter;
  friend class CZanMP4SourceFilter;

  void stop_for_seek();
  void take_target(const SeekTarget& target);

  Positions positions_;  // guarded by the owner's position lock
};

// One stream of the file.
class CZanMP4SourceOutputPin final : public CZanBaseSourceOutputPin {
 public:
  CZanMP4SourceOutputPin(HRESULT* phr, CZanMP4SourceFilter* source, LPCWSTR name);
  ~CZanMP4SourceOutputPin() override;

  // Binds the pin to a track. 0, or 1 when the track cannot be played and is to be skipped.
  int SetupTrack(P3gppFile* file, uint32_t track_id, Stream stream, uint64_t file_size);
  // Binds the pin to the stream of a speech or AAC file instead.
  void SetupFile(std::unique_ptr<FileStream> stream);
  // The next sample of such a file is its first one again.
  void rewind_file();
  // Kept: the pin of a speech or AAC file counts as one of video here.
  Stream stream() const { return track_.stream(); }
  const P3gppTrackInfo* track_info() const { return track_.info(); }
  DWORD GetDurationMs() override;

  // One type, at position 0. Past failures it may answer differently: see the AAC types.
  HRESULT GetMediaType(int position, CMediaType* type) override;
  HRESULT CheckMediaType(const CMediaType* type) override;
  HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* properties) override;

  // The time of the last sample of the longest pin, counted from that pin's segment start.
  HRESULT GetCurrentPosition(LONGLONG* current) override;
  REFERENCE_TIME last_delivered() const { return last_delivered_; }

  HRESULT Notify(IBaseFilter* sender, Quality quality) override;

 protected:
  HRESULT FillBuffer(IMediaSample* sample) override;
  HRESULT OnThreadCreate() override;
  HRESULT OnThreadDestroy() override;
  HRESULT DoBufferProcessingLoop() override;

 private:
  bool plays_iso_media() const { return source_->source_kind() == SOURCE_KIND_MP4; }
  // Null when the filter's kind is not, or not any more, that of the stream.
  FileStream* file_stream() const;
  uint64_t sample_bytes() const;

  HRESULT fill_file(IMediaSample* sample);
  bool start_at_frame(FileStream& stream, IMediaSample* sample, REFERENCE_TIME start);

  HRESULT fill_iso(IMediaSample* sample);
  HRESULT fill_iso_sample(IMediaSample* sample, Positions segment);
  bool start_at_sync_sample(IMediaSample* sample, const Positions& segment);
  void join_peer(REFERENCE_TIME absolute_start);
  void abandon_seek(HRESULT hr);
  struct ReadUnits {
    uint32_t size;         // bytes
    REFERENCE_TIME start;  // from the start of the media
    FrameTiming timing;
  };
  std::optional<ReadUnits> read_up_to(REFERENCE_TIME stop_position, std::span<BYTE> buffer);

  CZanMP4SourceFilter* const source_;
  std::mutex mutex_;  // the pin mutex
  IsoTrack track_;
  std::unique_ptr<FileStream> file_stream_;  // null for a track
  std::atomic<REFERENCE_TIME> last_delivered_{0};
};

}  // namespace zdr::mp4source
