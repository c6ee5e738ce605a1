// An output pin of a file source: its positions, its worker's life, and seeking.
#pragma once

#include <streams.h>

#include <mutex>

#include "filters/source/mp4/sync/positions.h"

namespace zdr::mp4source {

// What the pins of a file source share. The filter implements it.
class PinOwner {
 public:
  virtual bool filter_is_stopped() = 0;
  // Called during a seek, once per pin, while its worker is about to stop.
  virtual void on_pin_seek(const GUID& major_type, bool worker_exists) = 0;
  // Stops all workers, moves all pins, and starts the workers again.
  virtual void seek_pins(const SeekTarget& target) = 0;
  // Both events that workers wait for. Setting them frees a worker from a wait for its peer, so that it
  // returns to its command loop.
  virtual void set_events() = 0;
  virtual void reset_events() = 0;

  // One load, state change or seek at a time. Recursive, because Run calls Pause.
  std::recursive_mutex control_mutex;
  CCritSec position_lock;
  REFERENCE_TIME duration = 0;  // guarded by the position lock

 protected:
  ~PinOwner() = default;
};

class CZanBaseSourceOutputPin : public CSourceStream, public IMediaSeeking {
 public:
  CZanBaseSourceOutputPin(CObjectName object_name, HRESULT* phr, CSource* filter, PinOwner& owner,
                          LPCWSTR name);

  DECLARE_IUNKNOWN
  HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

  // Returns the stream's duration in whole milliseconds, and makes it the pin's stop position.
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
  // The two halves of a seek: flushes and stops the worker, and takes the new positions.
  void stop_for_seek();
  void take_target(const SeekTarget& target);

 protected:
  HRESULT OnThreadStartPlay() override;

  Positions positions();
  void set_stop_position(REFERENCE_TIME stop);
  void set_segment_start(REFERENCE_TIME start);
  void clear_seek_pending();
  // Moves the segment start unless a seek is pending. The caller holds the position lock.
  void rebase_segment(REFERENCE_TIME start);

  PinOwner& owner_;

 private:
  Positions positions_;  // guarded by the position lock
};

}  // namespace zdr::mp4source
