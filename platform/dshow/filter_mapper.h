// The filter mapper of the platform library: keeps the descriptions of filters in the registry, below
// HKEY_CLASSES_ROOT\CLSID\{category}\Instance\{instance}.
#pragma once

#include "combase.h"
#include "registration.h"

class CFilterMapper2 final : public CUnknown, public IFilterMapper2 {
 public:
  CFilterMapper2(CObjectName name, IUnknown* outer, HRESULT* phr) noexcept : CUnknown(name, outer, phr) {}

  // Creator for class tables.
  static CUnknown* CreateInstance(IUnknown* outer, HRESULT* phr);

  DECLARE_IUNKNOWN
  HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

  HRESULT CreateCategory(REFCLSID category, DWORD merit, LPCWSTR description) override;
  HRESULT UnregisterFilter(const CLSID* category, LPCOLESTR instance, REFCLSID filter) override;
  // VFW_E_BAD_KEY for an instance name that is no name of a key, and when the registry cannot be written.
  // There are no monikers: with `moniker` not null nothing is registered, and E_NOTIMPL answered.
  HRESULT RegisterFilter(REFCLSID filter, LPCWSTR name, IMoniker** moniker, const CLSID* category,
                         LPCOLESTR instance, const REGFILTER2* record) override;
  HRESULT EnumMatchingFilters(IEnumMoniker** enumerator, DWORD flags, BOOL exact, DWORD merit,
                              BOOL input_needed, DWORD input_count, const GUID* inputs,
                              const REGPINMEDIUM* input_medium, const CLSID* input_category, BOOL render,
                              BOOL output_needed, DWORD output_count, const GUID* outputs,
                              const REGPINMEDIUM* output_medium, const CLSID* output_category) override;
};
