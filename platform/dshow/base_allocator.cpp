// CBaseAllocator: lends samples while committed. The states are committed, decommitting (samples are still
// lent) and decommitted; in the first two the allocator holds a reference on itself.
#include <utility>

#include "allocator.h"

void CBaseAllocator::CSampleList::Add(CMediaSample* sample) noexcept {
  sample->m_pNext = m_List;
  m_List = sample;
  ++m_nOnList;
}

CMediaSample* CBaseAllocator::CSampleList::RemoveHead() noexcept {
  CMediaSample* sample = m_List;
  if (sample == nullptr) return nullptr;
  m_List = std::exchange(sample->m_pNext, nullptr);
  --m_nOnList;
  return sample;
}

CBaseAllocator::CBaseAllocator(CObjectName name, IUnknown* outer) noexcept : CUnknown(name, outer) {}

HRESULT CBaseAllocator::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
  if (riid == IID_IMemAllocator) return GetInterface(static_cast<IMemAllocator*>(this), ppv);
  return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

HRESULT CBaseAllocator::store_properties(const ALLOCATOR_PROPERTIES& properties,
                                         ALLOCATOR_PROPERTIES* actual) noexcept {
  const CAutoLock lock(this);
  if (m_bCommitted) return VFW_E_ALREADY_COMMITTED;
  if (m_lFree.GetCount() < m_lAllocated) return VFW_E_BUFFERS_OUTSTANDING;
  m_bChanged = m_bChanged || m_lCount != properties.cBuffers || m_lSize != properties.cbBuffer ||
               m_lAlignment != properties.cbAlign || m_lPrefix != properties.cbPrefix;
  m_lCount = properties.cBuffers;
  m_lSize = properties.cbBuffer;
  m_lAlignment = properties.cbAlign;
  m_lPrefix = properties.cbPrefix;
  *actual = properties;
  return S_OK;
}

HRESULT CBaseAllocator::GetProperties(ALLOCATOR_PROPERTIES* properties) {
  CheckPointer(properties, E_POINTER);
  const CAutoLock lock(this);
  *properties = {m_lCount, m_lSize, m_lAlignment, m_lPrefix};
  return S_OK;
}

HRESULT CBaseAllocator::Commit() {
  const CAutoLock lock(this);
  if (m_bCommitted) return S_OK;
  if (m_bDecommitInProgress) {
    // The memory and the reference on this object are still there.
    m_bDecommitInProgress = FALSE;
    m_bCommitted = TRUE;
    return S_OK;
  }
  const HRESULT hr = Alloc();
  if (FAILED(hr)) return hr;
  m_bCommitted = TRUE;
  AddRef();
  return S_OK;
}

HRESULT CBaseAllocator::Decommit() {
  {
    const CAutoLock lock(this);
    if (!m_bCommitted) return S_OK;
    m_bCommitted = FALSE;
    ++m_cDecommits;
    wakes_.fetch_add(1);
    wakes_.notify_all();
    if (m_lFree.GetCount() < m_lAllocated) {
      m_bDecommitInProgress = TRUE;
      return S_OK;
    }
    Free();
  }
  Release();  // after the lock is released: this may destroy the lock
  return S_OK;
}

HRESULT CBaseAllocator::GetBuffer(IMediaSample** sample, REFERENCE_TIME* /*start*/, REFERENCE_TIME* /*end*/,
                                  DWORD flags) {
  CheckPointer(sample, E_POINTER);
  *sample = nullptr;
  const CAutoLock lock(this);
  const ULONG decommits = m_cDecommits;
  for (;;) {
    // A thread that has waited through a decommit returns, even after another commit.
    if (!m_bCommitted || m_cDecommits != decommits) return VFW_E_NOT_COMMITTED;
    if (CMediaSample* const free_sample = m_lFree.RemoveHead(); free_sample != nullptr) {
      free_sample->m_cRef.store(1, std::memory_order_relaxed);
      *sample = free_sample;
      return S_OK;
    }
    if ((flags & AM_GBF_NOWAIT) != 0) return VFW_E_TIMEOUT;
    const uint32_t wakes = wakes_.load();
    ++m_lWaiting;
    Unlock();
    wakes_.wait(wakes);
    Lock();
    --m_lWaiting;
  }
}

HRESULT CBaseAllocator::ReleaseBuffer(IMediaSample* sample) {
  CheckPointer(sample, E_POINTER);
  bool decommitted = false;
  {
    const CAutoLock lock(this);
    m_lFree.Add(static_cast<CMediaSample*>(sample));
    if (m_lWaiting != 0) {
      wakes_.fetch_add(1);
      wakes_.notify_one();
    }
    if (m_bDecommitInProgress && m_lFree.GetCount() == m_lAllocated) {
      Free();
      m_bDecommitInProgress = FALSE;
      decommitted = true;
    }
  }
  if (decommitted) Release();
  return S_OK;
}

HRESULT CBaseAllocator::Alloc() {
  if (m_lCount <= 0 || m_lSize <= 0 || m_lAlignment <= 0 || m_lPrefix < 0) return VFW_E_SIZENOTSET;
  return m_bChanged ? S_OK : S_FALSE;
}
