// CMediaSample: one buffer with its times and flags.
#include <algorithm>
#include <cstddef>
#include <cstring>

#include "allocator.h"
#include "mtype.h"

namespace {

// Sums of times wrap rather than overflow: a time may be any 64-bit number that a file holds.
LONGLONG add_wrapping(LONGLONG a, LONGLONG b) noexcept {
  return static_cast<LONGLONG>(static_cast<ULONGLONG>(a) + static_cast<ULONGLONG>(b));
}

LONGLONG subtract_wrapping(LONGLONG a, LONGLONG b) noexcept {
  return static_cast<LONGLONG>(static_cast<ULONGLONG>(a) - static_cast<ULONGLONG>(b));
}

// Whether the first `size` bytes of the record hold the whole of a field.
template <class Field>
bool holds(DWORD size, Field AM_SAMPLE2_PROPERTIES::*field, const AM_SAMPLE2_PROPERTIES& record) noexcept {
  const auto* begin = reinterpret_cast<const BYTE*>(&record);
  const auto* end = reinterpret_cast<const BYTE*>(&(record.*field) + 1);
  return size >= static_cast<std::size_t>(end - begin);
}

}  // namespace

CMediaSample::CMediaSample(CObjectName, CBaseAllocator* allocator, HRESULT* /*phr*/, BYTE* buffer,
                           LONG length) noexcept
    : m_pBuffer(buffer), m_lActual(length), m_cbBuffer(length), m_pAllocator(allocator) {}

CMediaSample::~CMediaSample() {
  DeleteMediaType(m_pMediaType);
}

HRESULT CMediaSample::SetPointer(BYTE* buffer, LONG length) noexcept {
  m_pBuffer = buffer;
  m_cbBuffer = length;
  m_lActual = length;
  return S_OK;
}

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
    if (m_pMediaType != nullptr) SetMediaType(nullptr);
    // Length and stored times stay: the next producer finds those of the last one.
    m_dwFlags = 0;
    m_dwTypeSpecificFlags = 0;
    m_dwStreamId = AM_STREAM_MEDIA;
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
  if ((m_dwFlags & (Sample_TimeValid | Sample_StopValid)) == 0) return VFW_E_SAMPLE_TIME_NOT_SET;
  *start = m_Start;
  if (has_flag(Sample_StopValid) == S_OK) {
    *end = m_End;
    return S_OK;
  }
  *end = add_wrapping(m_Start, 1);
  return VFW_S_NO_STOP_TIME;
}

HRESULT CMediaSample::SetTime(REFERENCE_TIME* start, REFERENCE_TIME* end) {
  set_flag(Sample_TimeValid, start != nullptr);
  set_flag(Sample_StopValid, start != nullptr && end != nullptr);
  if (start == nullptr) return S_OK;
  m_Start = *start;
  if (end != nullptr) m_End = *end;
  return S_OK;
}

HRESULT CMediaSample::IsSyncPoint() {
  return has_flag(Sample_SyncPoint);
}

HRESULT CMediaSample::SetSyncPoint(BOOL sync_point) {
  return set_flag(Sample_SyncPoint, sync_point);
}

HRESULT CMediaSample::IsPreroll() {
  return has_flag(Sample_Preroll);
}

HRESULT CMediaSample::SetPreroll(BOOL preroll) {
  return set_flag(Sample_Preroll, preroll);
}

HRESULT CMediaSample::IsDiscontinuity() {
  return has_flag(Sample_Discontinuity);
}

HRESULT CMediaSample::SetDiscontinuity(BOOL discontinuity) {
  return set_flag(Sample_Discontinuity, discontinuity);
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
  if (m_pMediaType == nullptr) return S_FALSE;
  *type = CreateMediaType(m_pMediaType);
  return *type != nullptr ? S_OK : E_OUTOFMEMORY;
}

HRESULT CMediaSample::SetMediaType(AM_MEDIA_TYPE* type) {
  AM_MEDIA_TYPE* copy = nullptr;
  if (type != nullptr) {
    copy = CreateMediaType(type);
    if (copy == nullptr) return E_OUTOFMEMORY;
  }
  DeleteMediaType(m_pMediaType);
  m_pMediaType = copy;
  return set_flag(Sample_TypeChanged, copy != nullptr);
}

HRESULT CMediaSample::GetMediaTime(LONGLONG* start, LONGLONG* end) {
  CheckPointer(start, E_POINTER);
  CheckPointer(end, E_POINTER);
  if (has_flag(Sample_MediaTimeValid) != S_OK) return VFW_E_MEDIA_TIME_NOT_SET;
  *start = m_MediaStart;
  *end = add_wrapping(m_MediaStart, m_MediaEnd);
  return S_OK;
}

HRESULT CMediaSample::SetMediaTime(LONGLONG* start, LONGLONG* end) {
  if (start == nullptr) return set_flag(Sample_MediaTimeValid, false);
  CheckPointer(end, E_POINTER);
  m_MediaStart = *start;
  // The distance has 32 bits: one that is longer comes back short.
  m_MediaEnd = static_cast<LONG>(subtract_wrapping(*end, *start));
  return set_flag(Sample_MediaTimeValid, true);
}

HRESULT CMediaSample::GetProperties(DWORD size, BYTE* properties) {
  if (size == 0) return S_OK;
  CheckPointer(properties, E_POINTER);
  AM_SAMPLE2_PROPERTIES record{};
  record.cbData = std::min(size, static_cast<DWORD>(sizeof record));
  record.dwTypeSpecificFlags = m_dwTypeSpecificFlags;
  record.dwSampleFlags = m_dwFlags & ~DWORD{Sample_MediaTimeValid};
  record.lActual = m_lActual;
  record.tStart = m_Start;
  record.tStop = m_End;
  record.dwStreamId = m_dwStreamId;
  record.pMediaType = m_pMediaType;
  record.pbBuffer = m_pBuffer;
  record.cbBuffer = m_cbBuffer;
  std::memcpy(properties, &record, record.cbData);
  return S_OK;
}

HRESULT CMediaSample::SetProperties(DWORD size, const BYTE* properties) {
  if (size == 0) return S_OK;
  CheckPointer(properties, E_POINTER);
  AM_SAMPLE2_PROPERTIES record{};
  std::memcpy(&record, properties, std::min<std::size_t>(size, sizeof record));
  const HRESULT hr = check_properties(size, record);
  return SUCCEEDED(hr) ? store_properties(size, record) : hr;
}

// Fields that the caller's record does not reach are zero here, which is never refused.
HRESULT CMediaSample::check_properties(DWORD size, const AM_SAMPLE2_PROPERTIES& record) const noexcept {
  if ((record.dwSampleFlags & ~DWORD{Sample_ValidFlags}) != 0) return E_INVALIDARG;
  if (record.lActual < 0 || record.lActual > m_cbBuffer) return E_INVALIDARG;
  if (record.pbBuffer != nullptr && record.pbBuffer != m_pBuffer) return E_INVALIDARG;
  if (record.cbBuffer != 0 && record.cbBuffer != m_cbBuffer) return E_INVALIDARG;
  const bool names_type = holds(size, &AM_SAMPLE2_PROPERTIES::pMediaType, record);
  const bool type_missing = names_type && record.pMediaType == nullptr;
  if ((record.dwSampleFlags & AM_SAMPLE_TYPECHANGED) != 0 && type_missing) return E_INVALIDARG;
  return S_OK;
}

HRESULT CMediaSample::store_properties(DWORD size, const AM_SAMPLE2_PROPERTIES& record) noexcept {
  if (holds(size, &AM_SAMPLE2_PROPERTIES::pMediaType, record)) {
    const bool changed = (record.dwSampleFlags & AM_SAMPLE_TYPECHANGED) != 0;
    const HRESULT hr = SetMediaType(changed ? record.pMediaType : nullptr);
    if (FAILED(hr)) return hr;
  }
  if (holds(size, &AM_SAMPLE2_PROPERTIES::dwTypeSpecificFlags, record)) {
    m_dwTypeSpecificFlags = record.dwTypeSpecificFlags;
  }
  if (holds(size, &AM_SAMPLE2_PROPERTIES::dwSampleFlags, record)) {
    // These two follow the members that they speak of, not the caller.
    constexpr DWORD kOwn = Sample_MediaTimeValid | Sample_TypeChanged;
    m_dwFlags = (m_dwFlags & kOwn) | (record.dwSampleFlags & ~kOwn);
  }
  if (holds(size, &AM_SAMPLE2_PROPERTIES::lActual, record)) m_lActual = record.lActual;
  if (holds(size, &AM_SAMPLE2_PROPERTIES::tStart, record)) m_Start = record.tStart;
  if (holds(size, &AM_SAMPLE2_PROPERTIES::tStop, record)) m_End = record.tStop;
  if (holds(size, &AM_SAMPLE2_PROPERTIES::dwStreamId, record)) m_dwStreamId = record.dwStreamId;
  return S_OK;
}
