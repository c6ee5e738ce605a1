// The two root interfaces of COM: IUnknown (identity and lifetime) and IClassFactory (creation).
// An interface is one vtable pointer, methods in the platform's slot order, no data and no virtual
// destructor: objects are destroyed by Release() only.
#pragma once

#include <windows.h>

#include "guid_text.h"

// Every interface pointer returned through an out-argument carries a reference of its own. QueryInterface for
// IID_IUnknown returns the same pointer on every interface of one object. The results of AddRef and Release
// are advisory.
struct IUnknown {
  // S_OK, or E_NOINTERFACE with null in *ppv; E_POINTER for a null ppv.
  virtual HRESULT QueryInterface(REFIID riid, void** ppv) = 0;
  virtual ULONG AddRef() = 0;
  virtual ULONG Release() = 0;
};

struct IClassFactory : IUnknown {
  // With an outer object riid must be IID_IUnknown; CLASS_E_NOAGGREGATION when the class cannot be
  // aggregated. *ppv is null after a failure.
  virtual HRESULT CreateInstance(IUnknown* pUnkOuter, REFIID riid, void** ppv) = 0;
  virtual HRESULT LockServer(BOOL fLock) = 0;
};

inline constexpr GUID GUID_NULL = {};
inline constexpr IID IID_IUnknown = zdr::com::guid("00000000-0000-0000-C000-000000000046");
inline constexpr IID IID_IClassFactory = zdr::com::guid("00000001-0000-0000-C000-000000000046");
