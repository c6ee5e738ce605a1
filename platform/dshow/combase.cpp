// Reference counting, delegation and identity.
#include "combase.h"

#include <algorithm>

constinit std::atomic<LONG> CBaseObject::m_cObjects{0};

CUnknown::CUnknown(CObjectName name, IUnknown* outer) noexcept
    : CBaseObject(name), m_pUnknown(outer != nullptr ? outer : &inner_) {}

CUnknown::CUnknown(CObjectName name, IUnknown* outer, HRESULT* /*phr*/) noexcept : CUnknown(name, outer) {}

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
  // The destructor may add and release references to this object without coming here again.
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

namespace {

// The pointer that names the object; no reference is kept, for it is compared only.
const void* identity_of(IUnknown* unknown) {
  void* identity = nullptr;
  if (unknown == nullptr || FAILED(unknown->QueryInterface(IID_IUnknown, &identity))) return nullptr;
  static_cast<IUnknown*>(identity)->Release();
  return identity;
}

}  // namespace

BOOL IsEqualObject(IUnknown* first, IUnknown* second) {
  if (first == second) return TRUE;
  const void* identity = identity_of(first);
  return identity != nullptr && identity == identity_of(second);
}
