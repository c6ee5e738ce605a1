// The times and flags of a sample, and its return to the allocator.
#include "media_sample.h"

#include <algorithm>
#include <cstring>

#include "combase.h"

CMediaSample::CMediaSample(IMemAllocator* allocator, BYTE* buffer, LONG length) noexcept
    : m_pBuffer(buffer), m_lActual(length), m_cbBuffer(length), m_pAllocator(allocator) {}

HRESULT CMediaSample::QueryInterface(REFIID riid, void** ppv) {
  CheckPointer(ppv, E_POINTER);
  if (riid == IID_IMediaSample || riid == IID_IMediaSample2 || riid == IID_IUnknown) {
    return GetInterface(this, ppv);
  }
  *ppv = nullptr;
  return E_NOINTERFACE;
}

ULONG CMediaSample::AddRef() {
  return static_cast<ULONG>(++m_cRef);
}

ULONG CMediaSample::Release() {
  const LONG left = --m_cRef;
  if (left == 0) {
    // Kept: data length and stored times stay as the last producer set them.
    m_dwFlags = 0;
    m_pAllocator->ReleaseBuffer(this);
  }
  return static_cast<ULONG>(left);
}

HRESULT CMediaSample::GetPointer(BYTE** ppBuffer) {
  CheckPointer(ppBuffer, E_POINTER);
  *ppBuffer = m_pBuffer;
  return S_OK;
}

LONG CMediaSample::GetSize() {
  return m_cbBuffer;
}

HRESULT CMediaSample::GetTime(REFERENCE_TIME* start, REFERENCE_TIME* end) {
  CheckPointer(start, E_POINTER);
  CheckPointer(end, E_POINTER);
  if ((m_dwFlags & (AM_SAMPLE_TIMEVALID | AM_SAMPLE_STOPVALID)) == 0) return VFW_E_SAMPLE_TIME_NOT_SET;
  *start = m_Start;
  if (has_flag(AM_SAMPLE_STOPVALID) == S_OK) {
    *end = m_End;
    return S_OK;
  }
  // Wraps, because a file may hold any 64-bit number as a time.
  *end = static_cast<REFERENCE_TIME>(static_cast<ULONGLONG>(m_Start) + 1);
  return VFW_S_NO_STOP_TIME;
}

HRESULT CMediaSample::SetTime(REFERENCE_TIME* start, REFERENCE_TIME* end) {
  set_flag(AM_SAMPLE_TIMEVALID, start != nullptr);
  set_flag(AM_SAMPLE_STOPVALID, start != nullptr && end != nullptr);
  if (start == nullptr) return S_OK;
  m_Start = *start;
  if (end != nullptr) m_End = *end;
  return S_OK;
}

HRESULT CMediaSample::IsSyncPoint() {
  return has_flag(AM_SAMPLE_SPLICEPOINT);
}

HRESULT CMediaSample::SetSyncPoint(BOOL sync_point) {
  return set_flag(AM_SAMPLE_SPLICEPOINT, sync_point);
}

HRESULT CMediaSample::IsPreroll() {
  return has_flag(AM_SAMPLE_PREROLL);
}

HRESULT CMediaSample::SetPreroll(BOOL preroll) {
  return set_flag(AM_SAMPLE_PREROLL, preroll);
}

HRESULT CMediaSample::IsDiscontinuity() {
  return has_flag(AM_SAMPLE_DATADISCONTINUITY);
}

HRESULT CMediaSample::SetDiscontinuity(BOOL discontinuity) {
  return set_flag(AM_SAMPLE_DATADISCONTINUITY, discontinuity);
}

LONG CMediaSample::GetActualDataLength() {
  return m_lActual;
}

HRESULT CMediaSample::SetActualDataLength(LONG length) {
  if (length < 0 || length > m_cbBuffer) return VFW_E_BUFFER_OVERFLOW;
  m_lActual = length;
  return S_OK;
}

HRESULT CMediaSample::GetMediaType(AM_MEDIA_TYPE** type) {
  CheckPointer(type, E_POINTER);
  *type = nullptr;
  return S_FALSE;
}

HRESULT CMediaSample::SetMediaType(AM_MEDIA_TYPE* /*type*/) {
  return E_NOTIMPL;
}

HRESULT CMediaSample::GetMediaTime(LONGLONG* /*start*/, LONGLONG* /*end*/) {
  return VFW_E_MEDIA_TIME_NOT_SET;
}

HRESULT CMediaSample::SetMediaTime(LONGLONG* /*start*/, LONGLONG* /*end*/) {
  return E_NOTIMPL;
}

HRESULT CMediaSample::GetProperties(DWORD size, BYTE* properties) {
  if (size == 0) return S_OK;
  CheckPointer(properties, E_POINTER);
  AM_SAMPLE2_PROPERTIES record{};
  record.cbData = std::min(size, static_cast<DWORD>(sizeof record));
  record.dwSampleFlags = m_dwFlags;
  record.lActual = m_lActual;
  record.tStart = m_Start;
  record.tStop = m_End;
  record.dwStreamId = AM_STREAM_MEDIA;
  record.pbBuffer = m_pBuffer;
  record.cbBuffer = m_cbBuffer;
  std::memcpy(properties, &record, record.cbData);
  return S_OK;
}

HRESULT CMediaSample::SetProperties(DWORD /*size*/, const BYTE* /*properties*/) {
  return E_NOTIMPL;
}
