// The filter mapper of the platform library: stores the descriptions of filters in the registry, below
// HKEY_CLASSES_ROOT\CLSID\{legacy category}\Instance\{filter}.
#pragma once

#include "combase.h"
#include "registration.h"

class CFilterMapper2 final : public CUnknown, public IFilterMapper2 {
 public:
  explicit CFilterMapper2(IUnknown* outer) noexcept : CUnknown(NAME("Filter mapper"), outer) {}

  // Creator for class tables.
  static CUnknown* CreateInstance(IUnknown* outer, HRESULT* phr);

  DECLARE_IUNKNOWN
  HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

  // Filters are stored under their own identifier in the default category only: E_NOTIMPL for another
  // category, an instance name, or a request for a moniker. E_INVALIDARG for a record that is not of
  // version 1.
  HRESULT UnregisterFilter(const CLSID* category, LPCOLESTR instance, REFCLSID filter) override;
  HRESULT RegisterFilter(REFCLSID filter, LPCWSTR name, IMoniker** moniker, const CLSID* category,
                         LPCOLESTR instance, const REGFILTER2* record) override;
  // Both return E_NOTIMPL: graphs are built explicitly.
  HRESULT CreateCategory(REFCLSID category, DWORD merit, LPCWSTR description) override;
  HRESULT EnumMatchingFilters(IEnumMoniker** enumerator, DWORD flags, BOOL exact, DWORD merit,
                              BOOL input_needed, DWORD input_count, const GUID* inputs,
                              const REGPINMEDIUM* input_medium, const CLSID* input_category, BOOL render,
                              BOOL output_needed, DWORD output_count, const GUID* outputs,
                              const REGPINMEDIUM* output_medium, const CLSID* output_category) override;
};
