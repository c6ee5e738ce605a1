// Source filters: CSource owns its output pins, and each CSourceStream has a worker thread that fills and
// delivers samples.
#pragma once

#include <com_ptr.h>

#include <vector>

#include "transport_pins.h"

class CSourceStream;

// A pin adds itself in its constructor and removes itself in its destructor. The filter deletes the pins that
// remain.
class CSource : public CBaseFilter {
 public:
  // *phr is not changed: nothing here can fail.
  CSource(CObjectName name, IUnknown* outer, CLSID clsid, HRESULT* phr);
  ~CSource() override;

  int GetPinCount() override;
  CBasePin* GetPin(int index) override;
  CCritSec* pStateLock() noexcept { return &m_cStateLock; }

  HRESULT AddPin(CSourceStream* pin);
  // Takes no lock. S_FALSE for a pin of another filter.
  HRESULT RemovePin(CSourceStream* pin);
  // The identifier of a pin is its number in decimal, counted from 1.
  HRESULT FindPin(LPCWSTR id, IPin** pin) override;
  // The pin's index, counted from 0; -1 for a pin of another filter.
  int FindPinNumber(IPin* pin);

 protected:
  std::vector<CSourceStream*> m_paStreams;
  CCritSec m_cStateLock;
};

// Locking: the pin's lock is the filter's state lock. Inactive holds it until the worker has ended, so the
// worker must never wait for it.
class CSourceStream : public CAMThread, public CBaseOutputPin {
 public:
  CSourceStream(CObjectName object_name, HRESULT* phr, CSource* filter, LPCWSTR name);
  ~CSourceStream() override;

  enum Command : DWORD { CMD_INIT, CMD_PAUSE, CMD_RUN, CMD_STOP, CMD_EXIT };

  // Commands to the worker. Each returns the worker's reply.
  HRESULT Init() { return call_worker(CMD_INIT); }
  HRESULT Exit() { return call_worker(CMD_EXIT); }
  HRESULT Run() { return call_worker(CMD_RUN); }
  HRESULT Pause() { return call_worker(CMD_PAUSE); }
  HRESULT Stop() { return call_worker(CMD_STOP); }
  // Called by the filter when it starts to run; the worker has been streaming since CMD_PAUSE.
  using CBaseOutputPin::Run;

  HRESULT Active() override;
  HRESULT Inactive() override;
  HRESULT QueryId(LPWSTR* id) override;

 protected:
  // Fills one sample. S_OK delivers it, S_FALSE ends the stream without delivering it, and anything else ends
  // the stream with an error.
  virtual HRESULT FillBuffer(IMediaSample* sample) = 0;

  // All three are called on the worker thread.
  virtual HRESULT OnThreadCreate() { return S_OK; }
  virtual HRESULT OnThreadDestroy() { return S_OK; }
  virtual HRESULT OnThreadStartPlay() { return S_OK; }

  DWORD ThreadProc() override;
  // Fills and delivers samples until CMD_STOP arrives (S_FALSE; the request stays pending), the stream ends
  // or the receiver refuses a sample (S_OK), or FillBuffer fails (its result).
  virtual HRESULT DoBufferProcessingLoop();

  Command GetRequest() noexcept { return static_cast<Command>(CAMThread::GetRequest()); }
  BOOL CheckRequest(Command* command) noexcept;

  CSource* m_pFilter;

 private:
  void take_commands_until_exit();
  // False if the loop must end and return *result.
  bool fill_and_deliver(zdr::com::ComPtr<IMediaSample> sample, HRESULT* result);
  HRESULT call_worker(Command command) { return static_cast<HRESULT>(CallWorker(command)); }
};
