// Interfaces of the sample transport: media samples, the allocator that owns their buffers, and the input pin
// that receives them.
#pragma once

#include "media_records.h"

struct IMediaSample : IUnknown {
  virtual HRESULT GetPointer(BYTE** ppBuffer) = 0;
  // Bytes of the buffer, without the prefix.
  virtual LONG GetSize() = 0;
  // VFW_S_NO_STOP_TIME with end = start + 1, VFW_E_SAMPLE_TIME_NOT_SET.
  virtual HRESULT GetTime(REFERENCE_TIME* pTimeStart, REFERENCE_TIME* pTimeEnd) = 0;
  // (null, null) invalidates the times, (start, null) sets only the start.
  virtual HRESULT SetTime(REFERENCE_TIME* pTimeStart, REFERENCE_TIME* pTimeEnd) = 0;
  virtual HRESULT IsSyncPoint() = 0;
  virtual HRESULT SetSyncPoint(BOOL bIsSyncPoint) = 0;
  virtual HRESULT IsPreroll() = 0;
  virtual HRESULT SetPreroll(BOOL bIsPreroll) = 0;
  virtual LONG GetActualDataLength() = 0;
  // VFW_E_BUFFER_OVERFLOW for a negative length or one above the size.
  virtual HRESULT SetActualDataLength(LONG length) = 0;
  // A copy for the caller, or S_FALSE with null in *ppMediaType if the type does not change.
  virtual HRESULT GetMediaType(AM_MEDIA_TYPE** ppMediaType) = 0;
  virtual HRESULT SetMediaType(AM_MEDIA_TYPE* pMediaType) = 0;
  virtual HRESULT IsDiscontinuity() = 0;
  virtual HRESULT SetDiscontinuity(BOOL bDiscontinuity) = 0;
  // VFW_E_MEDIA_TIME_NOT_SET.
  virtual HRESULT GetMediaTime(LONGLONG* pTimeStart, LONGLONG* pTimeEnd) = 0;
  // Null start invalidates; E_POINTER for a start without an end.
  virtual HRESULT SetMediaTime(LONGLONG* pTimeStart, LONGLONG* pTimeEnd) = 0;
};

struct IMediaSample2 : IMediaSample {
  // The first cbProperties bytes of an AM_SAMPLE2_PROPERTIES.
  virtual HRESULT GetProperties(DWORD cbProperties, BYTE* pbProperties) = 0;
  // E_NOTIMPL: the methods above set all that a sample has.
  virtual HRESULT SetProperties(DWORD cbProperties, const BYTE* pbProperties) = 0;
};

struct IMemAllocator : IUnknown {
  // VFW_E_ALREADY_COMMITTED, VFW_E_BADALIGN, VFW_E_BUFFERS_OUTSTANDING. *pActual receives what was accepted.
  virtual HRESULT SetProperties(ALLOCATOR_PROPERTIES* pRequest, ALLOCATOR_PROPERTIES* pActual) = 0;
  virtual HRESULT GetProperties(ALLOCATOR_PROPERTIES* pProps) = 0;
  // VFW_E_SIZENOTSET, E_OUTOFMEMORY.
  virtual HRESULT Commit() = 0;
  // Never blocks; wakes every thread that waits in GetBuffer.
  virtual HRESULT Decommit() = 0;
  // Waits for a free buffer; with AM_GBF_NOWAIT returns VFW_E_TIMEOUT at once instead. VFW_E_NOT_COMMITTED.
  // The times are hints and are not stored in the sample.
  virtual HRESULT GetBuffer(IMediaSample** ppBuffer, REFERENCE_TIME* pStartTime, REFERENCE_TIME* pEndTime,
                            DWORD dwFlags) = 0;
  // Called only by the sample's own final Release.
  virtual HRESULT ReleaseBuffer(IMediaSample* pBuffer) = 0;
};

struct IMemInputPin : IUnknown {
  // VFW_E_NO_ALLOCATOR.
  virtual HRESULT GetAllocator(IMemAllocator** ppAllocator) = 0;
  virtual HRESULT NotifyAllocator(IMemAllocator* pAllocator, BOOL bReadOnly) = 0;
  // E_NOTIMPL: no requirements.
  virtual HRESULT GetAllocatorRequirements(ALLOCATOR_PROPERTIES* pProps) = 0;
  // S_OK to continue, S_FALSE to stop sending (flushing, or the sink has reached its end). After anything but
  // S_OK nothing more is sent until a stop or a flush. The caller keeps its reference on the sample.
  virtual HRESULT Receive(IMediaSample* pSample) = 0;
  virtual HRESULT ReceiveMultiple(IMediaSample** pSamples, LONG nSamples, LONG* nSamplesProcessed) = 0;
  // S_OK when Receive may block, S_FALSE when it never does.
  virtual HRESULT ReceiveCanBlock() = 0;
};

inline constexpr IID IID_IMediaSample = zdr::com::guid("56A8689A-0AD4-11CE-B03A-0020AF0BA770");
inline constexpr IID IID_IMediaSample2 = zdr::com::guid("36B73884-C2C8-11CF-8B46-00805F6CEF60");
inline constexpr IID IID_IMemAllocator = zdr::com::guid("56A8689C-0AD4-11CE-B03A-0020AF0BA770");
inline constexpr IID IID_IMemInputPin = zdr::com::guid("56A8689D-0AD4-11CE-B03A-0020AF0BA770");
