// Source filters: CSource owns its output pins, and each CSourceStream has a worker thread that fills samples
// and delivers them.
#pragma once

#include <com_ptr.h>

#include <vector>

#include "amfilter.h"

class CSourceStream;

// A pin adds and removes itself in its constructor and destructor; the filter deletes the pins that are left.
class CSource : public CBaseFilter {
 public:
  CSource(CObjectName name, IUnknown* outer, CLSID clsid, HRESULT* phr);
  CSource(CObjectName name, IUnknown* outer, CLSID clsid);
  ~CSource() override;

  int GetPinCount() override;
  CBasePin* GetPin(int index) override;
  CCritSec* pStateLock() noexcept { return &m_cStateLock; }

  HRESULT AddPin(CSourceStream* pin);
  // Takes no lock. S_FALSE for a pin that is not ours.
  HRESULT RemovePin(CSourceStream* pin);
  // The identifier of a pin is its number in decimal, counted from 1.
  HRESULT FindPin(LPCWSTR id, IPin** pin) override;
  // Counted from 0, or -1.
  int FindPinNumber(IPin* pin);

 protected:
  std::vector<CSourceStream*> m_paStreams;
  CCritSec m_cStateLock;
};

// Locking: the pin's lock is the filter's state lock, which Inactive holds until the worker has ended; so the
// worker never waits for it.
class CSourceStream : public CAMThread, public CBaseOutputPin {
 public:
  CSourceStream(CObjectName object_name, HRESULT* phr, CSource* filter, LPCWSTR name);
  ~CSourceStream() override;

  enum Command : DWORD { CMD_INIT, CMD_PAUSE, CMD_RUN, CMD_STOP, CMD_EXIT };

  // Commands to the worker, answered with its result.
  HRESULT Init() { return call_worker(CMD_INIT); }
  HRESULT Exit() { return call_worker(CMD_EXIT); }
  HRESULT Run() { return call_worker(CMD_RUN); }
  HRESULT Pause() { return call_worker(CMD_PAUSE); }
  HRESULT Stop() { return call_worker(CMD_STOP); }
  // The filter's call when it starts to run; the worker has streamed since CMD_PAUSE.
  using CBaseOutputPin::Run;

  HRESULT Active() override;
  HRESULT Inactive() override;
  HRESULT QueryId(LPWSTR* id) override;

  HRESULT CheckMediaType(const CMediaType* type) override;
  HRESULT GetMediaType(int position, CMediaType* type) override;
  // For a pin of one type.
  virtual HRESULT GetMediaType(CMediaType* type);

 protected:
  // Fills one sample. S_OK: deliver it; S_FALSE: end of stream, the sample is not delivered; anything else:
  // the stream ends with an error.
  virtual HRESULT FillBuffer(IMediaSample* sample) = 0;

  // All three are called on the worker thread.
  virtual HRESULT OnThreadCreate() { return S_OK; }
  virtual HRESULT OnThreadDestroy() { return S_OK; }
  virtual HRESULT OnThreadStartPlay() { return S_OK; }

  DWORD ThreadProc() override;
  // Fills and delivers samples until CMD_STOP comes (S_FALSE, not replied to), the stream ends or the
  // receiver wants no more (S_OK), or FillBuffer fails (its result).
  virtual HRESULT DoBufferProcessingLoop();

  Command GetRequest() noexcept { return static_cast<Command>(CAMThread::GetRequest()); }
  BOOL CheckRequest(Command* command) noexcept;

  CSource* m_pFilter;

 private:
  void take_commands_until_exit();
  // False when the loop is to end with *result.
  bool fill_and_deliver(zdr::com::ComPtr<IMediaSample> sample, HRESULT* result);
  HRESULT call_worker(Command command) { return static_cast<HRESULT>(CallWorker(command)); }
};
