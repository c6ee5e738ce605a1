// CMemAllocator: lays out the samples in one block of memory.
#include <cstdint>
#include <cstdlib>
#include <new>

#include "allocator.h"
#include "nothrow_new.h"
#include "platform/win32/fault_injection.h"

namespace {

// The granularity of the platform's virtual memory, to which the block is aligned. Every power of two that
// the check below accepts divides it.
constexpr LONG kGranularity = 0x10000;

// Kept: some alignments that are not a power of two pass.
constexpr bool alignment_is_refused(LONG alignment) noexcept {
  return alignment == 0 || (kGranularity & (static_cast<uint32_t>(alignment) - 1)) != 0;
}

// The data size, raised so that data and prefix together are a multiple of the alignment.
constexpr int64_t rounded_data_size(const ALLOCATOR_PROPERTIES& wanted) noexcept {
  const int64_t stride = int64_t{wanted.cbBuffer} + wanted.cbPrefix;
  const int64_t excess = stride % wanted.cbAlign;
  return excess == 0 ? wanted.cbBuffer : int64_t{wanted.cbBuffer} + wanted.cbAlign - excess;
}

}  // namespace

void CMemAllocator::BlockDeleter::operator()(BYTE* block) const noexcept {
  std::free(block);
}

CMemAllocator::CMemAllocator(CObjectName name, IUnknown* outer, HRESULT* /*phr*/) noexcept
    : CBaseAllocator(name, outer) {}

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
  ALLOCATOR_PROPERTIES wanted = *request;  // a copy, since both may be the same record
  *actual = {};
  if (alignment_is_refused(wanted.cbAlign)) return VFW_E_BADALIGN;
  const int64_t data_size = rounded_data_size(wanted);
  if (data_size > INT32_MAX) return E_OUTOFMEMORY;
  wanted.cbBuffer = static_cast<LONG>(data_size);
  return store_properties(wanted, actual);
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
  return static_cast<bool>(m_pBuffer);
}

bool CMemAllocator::make_samples(int64_t stride) noexcept {
  BYTE* data = m_pBuffer.get() + m_lPrefix;
  for (; m_lAllocated < m_lCount; ++m_lAllocated, data += stride) {
    auto* sample = zdr::dshow::new_or_null<CMediaSample>(this, data, m_lSize);
    if (sample == nullptr) return false;
    m_lFree.Add(sample);
  }
  return true;
}

void CMemAllocator::Free() {}

void CMemAllocator::really_free() noexcept {
  while (m_lFree.GetCount() != 0) delete m_lFree.RemoveHead();
  m_lAllocated = 0;
  m_pBuffer.reset();
}
