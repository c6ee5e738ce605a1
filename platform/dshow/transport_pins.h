// The pins that move samples: an output pin delivers to the input pin which it is connected to, both over an
// allocator on which they agree.
#pragma once

#include <memory>

#include "allocator.h"
#include "base_pin.h"

// No delivery function takes a lock: they are called by the streaming thread.
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

  // Chooses the peer's allocator if it has one that suits, else our own.
  virtual HRESULT DecideAllocator(IMemInputPin* input_pin, IMemAllocator** allocator);
  // Calls SetProperties and checks what came of it.
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
  // Both are referenced and exist while connected.
  IMemAllocator* m_pAllocator = nullptr;
  IMemInputPin* m_pInputPin = nullptr;

 private:
  // Sizes the allocator's buffers and tells the peer.
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
  // Collects the properties of the sample in m_SampleProps and checks a changed type.
  HRESULT Receive(IMediaSample* sample) override;
  HRESULT ReceiveMultiple(IMediaSample** samples, LONG count, LONG* processed) override;
  HRESULT ReceiveCanBlock() override;

  HRESULT BeginFlush() override;
  HRESULT EndFlush() override;
  HRESULT BreakConnect() override;
  HRESULT Inactive() override;

  // S_OK when samples may come now, S_FALSE while flushing.
  virtual HRESULT CheckStreaming();

  BOOL IsReadOnly() const noexcept { return m_bReadOnly; }
  BOOL IsFlushing() const noexcept { return m_bFlushing; }
  IMemAllocator* Allocator() const noexcept { return m_pAllocator; }
  AM_SAMPLE2_PROPERTIES* SampleProps() noexcept { return &m_SampleProps; }

 protected:
  IMemAllocator* m_pAllocator = nullptr;  // referenced
  BOOL m_bReadOnly = FALSE;
  std::atomic<BOOL> m_bFlushing{FALSE};
  AM_SAMPLE2_PROPERTIES m_SampleProps{};  // of the sample in Receive; its type is not ours

 private:
  struct MediaTypeDeleter {
    void operator()(AM_MEDIA_TYPE* type) const noexcept { DeleteMediaType(type); }
  };

  HRESULT collect_properties(IMediaSample* sample);
  // For a sample that has no property record.
  void collect_flags(IMediaSample* sample);
  static bool downstream_can_block(CBasePin& output_pin);

  std::unique_ptr<AM_MEDIA_TYPE, MediaTypeDeleter> sample_type_;  // copied out of such a sample
};
