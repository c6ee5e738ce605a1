// Reference counting and delegation of CUnknown.
#include "combase.h"

#include <algorithm>

constinit std::atomic<LONG> CBaseObject::m_cObjects{0};

CUnknown::CUnknown(CObjectName name, IUnknown* outer) noexcept
    : CBaseObject(name), m_pUnknown(outer != nullptr ? outer : &inner_) {}

HRESULT CUnknown::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
  CheckPointer(ppv, E_POINTER);
  if (riid == IID_IUnknown) return GetInterface(&inner_, ppv);
  *ppv = nullptr;
  return E_NOINTERFACE;
}

ULONG CUnknown::NonDelegatingAddRef() {
  return static_cast<ULONG>(std::max<LONG>(++m_cRef, 1));
}

ULONG CUnknown::NonDelegatingRelease() {
  const LONG left = --m_cRef;
  if (left != 0) return static_cast<ULONG>(std::max<LONG>(left, 1));
  // The destructor may add and release references; the count must not reach 0 again.
  ++m_cRef;
  delete this;
  return 0;
}

HRESULT CUnknown::Inner::QueryInterface(REFIID riid, void** ppv) {
  return self_.NonDelegatingQueryInterface(riid, ppv);
}

ULONG CUnknown::Inner::AddRef() {
  return self_.NonDelegatingAddRef();
}

ULONG CUnknown::Inner::Release() {
  return self_.NonDelegatingRelease();
}

HRESULT GetInterface(IUnknown* unknown, void** ppv) {
  CheckPointer(ppv, E_POINTER);
  *ppv = unknown;
  unknown->AddRef();
  return S_OK;
}
