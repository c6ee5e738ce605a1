// The class factory, over a table of class templates. Each module has such a table, and so has the platform
// library.
#pragma once

#include <cstddef>

#include "combase.h"
#include "registration.h"
#include "single_interface.h"

// Makes an object of a class. When it sets *phr to a failure, the object it returns is deleted.
using LPFNNewCOMObject = CUnknown* (*)(IUnknown* outer, HRESULT* phr);
// Called with TRUE when the module is loaded and with FALSE when it is unloaded.
using LPFNInitRoutine = void (*)(BOOL loading, const CLSID* clsid);

// One class of a module.
class CFactoryTemplate {
 public:
  const WCHAR* m_Name;
  const CLSID* m_ClsID;
  LPFNNewCOMObject m_lpfnNew;
  LPFNInitRoutine m_lpfnInit;  // may be null
  const AMOVIESETUP_FILTER* m_pAMovieSetup_Filter;

  bool IsClassID(REFCLSID clsid) const noexcept { return *m_ClsID == clsid; }
  CUnknown* CreateInstance(IUnknown* outer, HRESULT* phr) const { return m_lpfnNew(outer, phr); }
};
static_assert(sizeof(CFactoryTemplate) == zdr::by_width(40, 20));

// The factory of one template. It is a CBaseObject, so a live factory keeps its module loaded.
class CClassFactory final : public zdr::dshow::SingleInterface<IClassFactory, IID_IClassFactory>,
                            public CBaseObject {
 public:
  explicit CClassFactory(const CFactoryTemplate* factory_template) noexcept;

  // E_NOINTERFACE for an outer object with any riid but IID_IUnknown.
  HRESULT CreateInstance(IUnknown* outer, REFIID riid, void** ppv) override;
  HRESULT LockServer(BOOL lock) override;

  static bool IsLocked() noexcept { return m_cLocked > 0; }

 private:
  const CFactoryTemplate* const m_pTemplate;
  static std::atomic<LONG> m_cLocked;
};

namespace zdr::dshow {

// A factory for the first of the `count` templates that has the class. E_NOINTERFACE for a riid other than
// IUnknown and IClassFactory, CLASS_E_CLASSNOTAVAILABLE when no template has the class.
HRESULT template_class_object(const CFactoryTemplate* templates, std::size_t count, REFCLSID clsid,
                              REFIID riid, void** ppv);

}  // namespace zdr::dshow
