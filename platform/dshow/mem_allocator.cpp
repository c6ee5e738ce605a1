// CMemAllocator: samples over one block of memory.
#include <cstdint>
#include <cstdlib>
#include <new>

#include "allocator.h"
#include "nothrow_new.h"
#include "platform/win32/fault_injection.h"

namespace {

// What the platform's virtual memory gives. Every alignment that is a power of two and passes the check below
// divides it; others are taken as they come.
constexpr LONG kGranularity = 0x10000;

constexpr bool alignment_is_refused(LONG alignment) noexcept {
  return alignment == 0 || (kGranularity & (static_cast<uint32_t>(alignment) - 1)) != 0;
}

// The data size that makes data and prefix together a multiple of the alignment.
constexpr int64_t rounded_data_size(const ALLOCATOR_PROPERTIES& wanted) noexcept {
  const int64_t stride = int64_t{wanted.cbBuffer} + wanted.cbPrefix;
  const int64_t excess = stride % wanted.cbAlign;
  return excess == 0 ? wanted.cbBuffer : int64_t{wanted.cbBuffer} + wanted.cbAlign - excess;
}

}  // namespace

void CMemAllocator::BlockDeleter::operator()(BYTE* block) const noexcept {
  std::free(block);
}

CMemAllocator::CMemAllocator(CObjectName name, IUnknown* outer, HRESULT* phr) noexcept
    : CBaseAllocator(name, outer, phr, TRUE, TRUE) {}

CMemAllocator::~CMemAllocator() {
  Decommit();
  really_free();
}

CUnknown* CMemAllocator::CreateInstance(IUnknown* outer, HRESULT* phr) {
  return zdr::dshow::new_or_null<CMemAllocator>(NAME("CMemAllocator"), outer, phr);
}

HRESULT CMemAllocator::SetProperties(ALLOCATOR_PROPERTIES* request, ALLOCATOR_PROPERTIES* actual) {
  CheckPointer(request, E_POINTER);
  CheckPointer(actual, E_POINTER);
  ALLOCATOR_PROPERTIES wanted = *request;  // both may be the same record
  *actual = {};
  if (alignment_is_refused(wanted.cbAlign)) return VFW_E_BADALIGN;
  const int64_t data_size = rounded_data_size(wanted);
  if (data_size > INT32_MAX) return E_OUTOFMEMORY;
  wanted.cbBuffer = static_cast<LONG>(data_size);
  return take_properties(wanted, actual);
}

HRESULT CMemAllocator::Alloc() {
  const HRESULT hr = CBaseAllocator::Alloc();
  if (hr != S_OK) return FAILED(hr) ? hr : S_OK;
  really_free();
  const int64_t stride = int64_t{m_lSize} + m_lPrefix;
  if (stride > INT32_MAX / m_lCount) return E_OUTOFMEMORY;
  if (!allocate_block(static_cast<std::size_t>(stride * m_lCount)) || !make_samples(stride)) {
    really_free();
    return E_OUTOFMEMORY;
  }
  m_bChanged = FALSE;
  return S_OK;
}

bool CMemAllocator::allocate_block(std::size_t size) noexcept {
  if (zdr::platform::should_fail(zdr::platform::FaultPoint::kHeapAllocation)) return false;
  const std::size_t whole = (size + kGranularity - 1) / kGranularity * kGranularity;
  m_pBuffer.reset(static_cast<BYTE*>(std::aligned_alloc(kGranularity, whole)));
  return m_pBuffer != nullptr;
}

bool CMemAllocator::make_samples(int64_t stride) noexcept {
  BYTE* data = m_pBuffer.get() + m_lPrefix;
  for (; m_lAllocated < m_lCount; ++m_lAllocated, data += stride) {
    HRESULT hr = S_OK;
    auto* sample = zdr::dshow::new_or_null<CMediaSample>(NAME("Sample"), static_cast<CBaseAllocator*>(this),
                                                         &hr, data, m_lSize);
    if (sample == nullptr) return false;
    m_lFree.Add(sample);
  }
  return true;
}

void CMemAllocator::Free() {}

void CMemAllocator::really_free() noexcept {
  while (CMediaSample* sample = m_lFree.RemoveHead()) delete sample;
  m_lAllocated = 0;
  m_pBuffer.reset();
}
