// Foundation of every object of the base classes: the module's count of live objects, and reference counting
// with aggregation.
#pragma once

#include <objbase.h>

#include <atomic>
#include <cstddef>

#include "wxdebug.h"

// The name of an object, which only debuggers of other builds use. Accepts both character types and stores
// nothing.
class CObjectName {
 public:
  constexpr CObjectName(std::nullptr_t) noexcept {}
  // A template, so that null is not ambiguous.
  template <class Char>
  constexpr CObjectName(const Char*) noexcept {}
};

// The object's own side of IUnknown, whose public side belongs to the outer object when the object is
// aggregated. Laid out as IUnknown.
struct INonDelegatingUnknown {
  virtual HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) = 0;
  virtual ULONG NonDelegatingAddRef() = 0;
  virtual ULONG NonDelegatingRelease() = 0;
};

// Counts the live objects of this module. Each module has its own count.
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

// An object that can be aggregated. Its reference count starts at 0: its creator adds the first reference.
// The public IUnknown of a derived class (DECLARE_IUNKNOWN) forwards to the owner: the outer object, or the
// object itself when there is none.
class CUnknown : public INonDelegatingUnknown, public CBaseObject {
 public:
  CUnknown(CObjectName name, IUnknown* outer) noexcept;
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
  // The non-delegating side as an IUnknown. It is a separate object because derived classes override every
  // inherited IUnknown method with the delegating one.
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

// Stores the interface with a reference of its own. E_POINTER for a null ppv.
HRESULT GetInterface(IUnknown* unknown, void** ppv);

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
