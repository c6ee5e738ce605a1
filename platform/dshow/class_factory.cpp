// The class factory over a table of templates.
#include "class_factory.h"

#include "combase.h"
#include "nothrow_new.h"

constinit std::atomic<LONG> CClassFactory::m_cLocked{0};

CClassFactory::CClassFactory(const CFactoryTemplate* factory_template) noexcept
    : CBaseObject(NAME("Class factory")), m_pTemplate(factory_template) {}

HRESULT CClassFactory::QueryInterface(REFIID riid, void** ppv) {
  CheckPointer(ppv, E_POINTER);
  if (riid == IID_IUnknown || riid == IID_IClassFactory) return GetInterface(this, ppv);
  *ppv = nullptr;
  return E_NOINTERFACE;
}

ULONG CClassFactory::AddRef() {
  return static_cast<ULONG>(++m_cRef);
}

ULONG CClassFactory::Release() {
  const LONG left = --m_cRef;
  if (left == 0) delete this;
  return static_cast<ULONG>(left);
}

HRESULT CClassFactory::CreateInstance(IUnknown* outer, REFIID riid, void** ppv) {
  CheckPointer(ppv, E_POINTER);
  *ppv = nullptr;
  // An outer object must get the non-delegating side, which only IID_IUnknown gives.
  if (outer != nullptr && riid != IID_IUnknown) return E_NOINTERFACE;

  HRESULT hr = S_OK;
  CUnknown* object = m_pTemplate->CreateInstance(outer, &hr);
  if (object == nullptr) return FAILED(hr) ? hr : E_OUTOFMEMORY;
  if (FAILED(hr)) {
    delete object;
    return hr;
  }
  // The reference of our own destroys the object when it does not have the interface.
  object->NonDelegatingAddRef();
  hr = object->NonDelegatingQueryInterface(riid, ppv);
  object->NonDelegatingRelease();
  return hr;
}

HRESULT CClassFactory::LockServer(BOOL lock) {
  m_cLocked += lock ? 1 : -1;
  return S_OK;
}

namespace zdr::dshow {

HRESULT template_class_object(std::span<const CFactoryTemplate> templates, REFCLSID clsid, REFIID riid,
                              void** ppv) {
  CheckPointer(ppv, E_POINTER);
  *ppv = nullptr;
  if (riid != IID_IUnknown && riid != IID_IClassFactory) return E_NOINTERFACE;
  for (const CFactoryTemplate& candidate : templates) {
    if (!candidate.IsClassID(clsid)) continue;
    auto* factory = new_or_null<CClassFactory>(&candidate);
    return factory != nullptr ? GetInterface(factory, ppv) : E_OUTOFMEMORY;
  }
  return CLASS_E_CLASSNOTAVAILABLE;
}

}  // namespace zdr::dshow
