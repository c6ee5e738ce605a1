// The pins that move samples: an output pin delivers samples of the allocator on which both pins agreed to
// the input pin that it is connected to.
#pragma once

#include <atomic>

#include "allocator.h"
#include "base_pin.h"

// The streaming thread calls the delivery functions; none of them takes a lock.
class CBaseOutputPin : public CBasePin {
 public:
  CBaseOutputPin(CObjectName object_name, CBaseFilter* filter, CCritSec* lock, HRESULT* phr, LPCWSTR name);

  HRESULT CheckConnect(IPin* peer) override;
  HRESULT BreakConnect() override;
  HRESULT CompleteConnect(IPin* receiver) override;
  HRESULT Active() override;
  HRESULT Inactive() override;

  // E_UNEXPECTED: an output pin is not called by its peer.
  HRESULT EndOfStream() override;
  HRESULT BeginFlush() override;
  HRESULT EndFlush() override;

  // Uses the peer's allocator if that is suitable, otherwise creates one.
  virtual HRESULT DecideAllocator(IMemInputPin* input_pin, IMemAllocator** allocator);
  // Calls SetProperties and checks the granted properties.
  virtual HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) = 0;
  virtual HRESULT InitAllocator(IMemAllocator** allocator);

  virtual HRESULT GetDeliveryBuffer(IMediaSample** sample, REFERENCE_TIME* start, REFERENCE_TIME* end,
                                    DWORD flags);
  // The caller keeps its reference on the sample.
  virtual HRESULT Deliver(IMediaSample* sample);
  virtual HRESULT DeliverEndOfStream();
  virtual HRESULT DeliverBeginFlush();
  virtual HRESULT DeliverEndFlush();
  virtual HRESULT DeliverNewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate);

 protected:
  // Both are referenced, and not null while connected.
  IMemAllocator* m_pAllocator = nullptr;
  IMemInputPin* m_pInputPin = nullptr;

 private:
  // Sizes the allocator's buffers and passes the allocator to the peer.
  HRESULT settle_allocator(IMemInputPin* input_pin, IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request);
};

class CBaseInputPin : public CBasePin, public IMemInputPin {
 public:
  CBaseInputPin(CObjectName object_name, CBaseFilter* filter, CCritSec* lock, HRESULT* phr, LPCWSTR name);
  ~CBaseInputPin() override;

  DECLARE_IUNKNOWN
  HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

  HRESULT GetAllocator(IMemAllocator** allocator) override;
  HRESULT NotifyAllocator(IMemAllocator* allocator, BOOL read_only) override;
  HRESULT GetAllocatorRequirements(ALLOCATOR_PROPERTIES* properties) override;
  // Checks whether the pin accepts samples now. Derived classes call it first.
  HRESULT Receive(IMediaSample* sample) override;
  // E_NOTIMPL: samples are received one at a time.
  HRESULT ReceiveMultiple(IMediaSample** samples, LONG count, LONG* processed) override;
  HRESULT ReceiveCanBlock() override;

  HRESULT BeginFlush() override;
  HRESULT EndFlush() override;
  HRESULT BreakConnect() override;
  HRESULT Inactive() override;

  // S_OK when the pin accepts samples, S_FALSE while flushing, VFW_E_WRONG_STATE while stopped.
  virtual HRESULT CheckStreaming();

 protected:
  IMemAllocator* m_pAllocator = nullptr;  // referenced
  std::atomic<BOOL> m_bFlushing{FALSE};
};
