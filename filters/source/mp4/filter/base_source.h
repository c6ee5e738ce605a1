// A file as a source: its name, its duration, its state changes, and the two events that its pins share.
#pragma once

#include <streams.h>

#include <memory>

#include "filters/source/mp4/filter/base_pin.h"
#include "filters/source/mp4/interfaces/zandor_video_source.h"
#include "filters/source/mp4/readers/owned_handles.h"

namespace zdr::mp4source {

class CZanBaseSourceFilter : public CSource,
                             public IFileSourceFilter,
                             public IAMZandorVideoSource,
                             protected PinOwner {
 public:
  CZanBaseSourceFilter(CObjectName name, IUnknown* outer, HRESULT* phr);

  DECLARE_IUNKNOWN
  HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override;
  LPAMOVIESETUP_FILTER GetSetupData() override;

  // Opens the file and makes the pins. TRUE if at least one pin was made. `file_name` lasts until
  // everything that it opened is closed.
  virtual BOOL OpenSource(LPCOLESTR file_name, const AM_MEDIA_TYPE* media_type) = 0;
  // Clears the record, which may be null: files have no media type of their own.
  virtual BOOL GetCurFileMediaType(AM_MEDIA_TYPE* media_type) = 0;
  // Sets the filter's duration to that of its longest pin, and stores that pin (null if there is none).
  virtual HRESULT UpdateDuration(CZanBaseSourceOutputPin** longest) = 0;

  // IFileSourceFilter. Load succeeds once; after a failure it may be called again.
  HRESULT Load(LPCOLESTR file_name, const AM_MEDIA_TYPE* media_type) override;
  HRESULT GetCurFile(LPOLESTR* file_name, AM_MEDIA_TYPE* media_type) override;

  HRESULT Stop() override;
  HRESULT Pause() override;
  HRESULT Run(REFERENCE_TIME start) override;

 protected:
  // Closes what a failed OpenSource has left open.
  virtual void CloseSource() = 0;
  // Called during a seek, when all workers have stopped.
  virtual void on_workers_stopped() = 0;

  bool filter_is_stopped() override { return IsStopped() != FALSE; }
  void seek_pins(const SeekTarget& target) override;
  void set_events() override;
  void reset_events() override;

  CZanBaseSourceOutputPin* pin_at(int index);

  UniqueHandle seek_handling_event_;
  UniqueHandle av_data_available_event_;

 private:
  bool store_file_name(LPCOLESTR file_name);
  void end_live_workers();

  bool loaded_ = false;
  // Guarded by the position lock. Load alone changes it, and may read it without the lock.
  std::unique_ptr<WCHAR[]> file_name_;
};

}  // namespace zdr::mp4source
