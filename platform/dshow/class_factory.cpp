// Creation of objects through the templates of a module.
#include "class_factory.h"

#include <span>

#include "nothrow_new.h"

constinit std::atomic<LONG> CClassFactory::m_cLocked{0};

CClassFactory::CClassFactory(const CFactoryTemplate* factory_template) noexcept
    : CBaseObject(NAME("Class factory")), m_pTemplate(factory_template) {}

HRESULT CClassFactory::CreateInstance(IUnknown* outer, REFIID riid, void** ppv) {
  CheckPointer(ppv, E_POINTER);
  *ppv = nullptr;
  // Kept: E_NOINTERFACE, not CLASS_E_NOAGGREGATION. An outer object needs the non-delegating side, which only
  // IID_IUnknown returns.
  if (outer != nullptr && riid != IID_IUnknown) return E_NOINTERFACE;

  HRESULT hr = S_OK;
  CUnknown* object = m_pTemplate->CreateInstance(outer, &hr);
  if (object == nullptr) return FAILED(hr) ? hr : E_OUTOFMEMORY;
  if (FAILED(hr)) {
    delete object;
    return hr;
  }
  // When the object does not have the interface, releasing this reference destroys it.
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

HRESULT template_class_object(const CFactoryTemplate* templates, std::size_t count, REFCLSID clsid,
                              REFIID riid, void** ppv) {
  CheckPointer(ppv, E_POINTER);
  *ppv = nullptr;
  if (riid != IID_IUnknown && riid != IID_IClassFactory) return E_NOINTERFACE;
  for (const CFactoryTemplate& candidate : std::span(templates, count)) {
    if (!candidate.IsClassID(clsid)) continue;
    *ppv = static_cast<IClassFactory*>(new_or_null<CClassFactory>(&candidate));
    return *ppv != nullptr ? S_OK : E_OUTOFMEMORY;
  }
  return CLASS_E_CLASSNOTAVAILABLE;
}

}  // namespace zdr::dshow
