// Foundation of every object of the base classes: the module's count of live objects, reference counting with
// aggregation, the class factory over the module's template table, and the module's entry points.
#pragma once

#include <objbase.h>

#include <atomic>
#include <cstddef>

#include "registration.h"
#include "wxdebug.h"

// In front of what a module shows to its host; the rest of a module is hidden.
#define ZDR_MODULE_EXPORT __attribute__((visibility("default")))

// The name of an object serves debuggers of other builds only. Both character types are taken, and nothing
// kept.
class CObjectName {
 public:
  constexpr CObjectName(std::nullptr_t) noexcept {}
  // A template, so that a NULL of integer type finds one candidate only.
  template <class Char>
  constexpr CObjectName(const Char*) noexcept {}
};

// The private side of an aggregatable object: what it does for itself, where IUnknown speaks for the whole.
// Laid out as IUnknown.
struct INonDelegatingUnknown {
  virtual HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) = 0;
  virtual ULONG NonDelegatingAddRef() = 0;
  virtual ULONG NonDelegatingRelease() = 0;
};

// Counts the live objects of this module: each module has a count of its own.
class CBaseObject {
 public:
  explicit CBaseObject(CObjectName) noexcept { ++m_cObjects; }
  ~CBaseObject() { --m_cObjects; }
  CBaseObject(const CBaseObject&) = delete;
  CBaseObject& operator=(const CBaseObject&) = delete;

  static LONG ObjectsActive() noexcept { return m_cObjects; }

 private:
  static std::atomic<LONG> m_cObjects;
};

// An object that may be part of another one. Its reference count starts at 0: whoever creates it adds the
// first. The public IUnknown of a derived class (DECLARE_IUNKNOWN) speaks for the owner: the outer object,
// else itself.
class CUnknown : public INonDelegatingUnknown, public CBaseObject {
 public:
  CUnknown(CObjectName name, IUnknown* outer) noexcept;
  // phr is never changed: nothing here can fail.
  CUnknown(CObjectName name, IUnknown* outer, HRESULT* phr) noexcept;
  virtual ~CUnknown() = default;

  // Not referenced: the owner lives at least as long as this object.
  IUnknown* GetOwner() const noexcept { return m_pUnknown; }

  // Derived classes test their own identifiers first and leave the rest to their base.
  HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override;
  ULONG NonDelegatingAddRef() override;
  ULONG NonDelegatingRelease() override;

 protected:
  std::atomic<LONG> m_cRef{0};

 private:
  // The non-delegating side as a true IUnknown. It is an object of its own because a derived class overrides
  // every inherited IUnknown method by the delegating one.
  class Inner final : public IUnknown {
   public:
    explicit Inner(CUnknown& self) noexcept : self_(self) {}
    HRESULT QueryInterface(REFIID riid, void** ppv) override;
    ULONG AddRef() override;
    ULONG Release() override;

   private:
    CUnknown& self_;
  };

  Inner inner_{*this};
  IUnknown* m_pUnknown;
};

// Stores the interface with a reference of its own. E_POINTER for a NULL ppv.
HRESULT GetInterface(IUnknown* unknown, void** ppv);

// Whether both pointers lead to one object, by the rule of identity of IUnknown.
BOOL IsEqualObject(IUnknown* first, IUnknown* second);

#define DECLARE_IUNKNOWN                                     \
  HRESULT QueryInterface(REFIID riid, void** ppv) override { \
    return GetOwner()->QueryInterface(riid, ppv);            \
  }                                                          \
  ULONG AddRef() override {                                  \
    return GetOwner()->AddRef();                             \
  }                                                          \
  ULONG Release() override {                                 \
    return GetOwner()->Release();                            \
  }

// Makes an object of a class; *phr may be set to a failure, after which the object is deleted.
using LPFNNewCOMObject = CUnknown* (*)(IUnknown* outer, HRESULT* phr);
// Called with TRUE when the module is loaded and with FALSE when it is unloaded.
using LPFNInitRoutine = void (*)(BOOL loading, const CLSID* clsid);

// One class of a module.
class CFactoryTemplate {
 public:
  const WCHAR* m_Name;
  const CLSID* m_ClsID;
  LPFNNewCOMObject m_lpfnNew;
  LPFNInitRoutine m_lpfnInit;  // may be NULL
  const AMOVIESETUP_FILTER* m_pAMovieSetup_Filter;

  bool IsClassID(REFCLSID clsid) const noexcept { return *m_ClsID == clsid; }
  CUnknown* CreateInstance(IUnknown* outer, HRESULT* phr) const { return m_lpfnNew(outer, phr); }
};
static_assert(sizeof(CFactoryTemplate) == 40);

// Defined by the module. Both are read while the module is being loaded, so they must be
// constant-initialised.
extern CFactoryTemplate g_Templates[];
extern int g_cTemplates;

// Identifies this module to GetModuleFileName; set while the module is being loaded.
extern HINSTANCE g_hInst;

// The factory of one template. Being a CBaseObject, a live factory keeps its module busy.
class CClassFactory final : public IClassFactory, public CBaseObject {
 public:
  explicit CClassFactory(const CFactoryTemplate* factory_template) noexcept;

  HRESULT QueryInterface(REFIID riid, void** ppv) override;
  ULONG AddRef() override;
  ULONG Release() override;
  // An outer object with any riid but IID_IUnknown is refused with E_NOINTERFACE.
  HRESULT CreateInstance(IUnknown* outer, REFIID riid, void** ppv) override;
  HRESULT LockServer(BOOL lock) override;

  static bool IsLocked() noexcept { return m_cLocked > 0; }

 private:
  const CFactoryTemplate* const m_pTemplate;
  std::atomic<LONG> m_cRef{0};
  static std::atomic<LONG> m_cLocked;
};

// Entry points of a module. DllEntryPoint is called by the module's DllMain; when the module has none, the
// loading code calls it directly.
extern "C" {
BOOL DllEntryPoint(HINSTANCE instance, ULONG reason, void* reserved);
ZDR_MODULE_EXPORT BOOL DllMain(HINSTANCE instance, ULONG reason, void* reserved);
ZDR_MODULE_EXPORT HRESULT DllGetClassObject(REFCLSID rclsid, REFIID riid, void** ppv);
ZDR_MODULE_EXPORT HRESULT DllCanUnloadNow();
}
