// Writes and deletes the registry entries of filters.
#include "filter_mapper.h"

#include <string>
#include <vector>

#include "filter_data.h"
#include "nothrow_new.h"
#include "platform/com/registry_key.h"
#include "platform/com/status_guard.h"
#include "uuids.h"

namespace {

using zdr::com::braced_text;
using zdr::com::class_key;
using zdr::com::guarded;
using zdr::com::OpenKey;

std::u16string instance_key(REFCLSID filter) {
  return class_key(CLSID_LegacyAmFilterCategory) + u"\\Instance\\" + braced_text(filter);
}

bool is_usable(const REGFILTER2& record) {
  return record.dwVersion == 1 && (record.cPins == 0 || record.rgPins != nullptr);
}

HRESULT write_instance(REFCLSID filter, LPCWSTR name, const REGFILTER2& record) {
  const std::vector<BYTE> data = zdr::dshow::pack_filter_data(record);
  OpenKey key;
  LSTATUS status = key.create(instance_key(filter));
  if (status == ERROR_SUCCESS) status = key.set_text(u"CLSID", braced_text(filter));
  if (status == ERROR_SUCCESS) status = key.set_text(u"FriendlyName", name);
  if (status == ERROR_SUCCESS) status = key.set(u"FilterData", REG_BINARY, data.data(), data.size());
  return status == ERROR_SUCCESS ? S_OK : VFW_E_BAD_KEY;
}

}  // namespace

CUnknown* CFilterMapper2::CreateInstance(IUnknown* outer, HRESULT* /*phr*/) {
  return zdr::dshow::new_or_null<CFilterMapper2>(outer);
}

HRESULT CFilterMapper2::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
  if (riid == IID_IFilterMapper2) return GetInterface(static_cast<IFilterMapper2*>(this), ppv);
  return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

HRESULT CFilterMapper2::UnregisterFilter(const CLSID* category, LPCOLESTR instance, REFCLSID filter) {
  if (category != nullptr || instance != nullptr) return E_NOTIMPL;
  return guarded(
      [&] { return zdr::com::hresult_of(RegDeleteTreeW(HKEY_CLASSES_ROOT, instance_key(filter).c_str())); });
}

HRESULT CFilterMapper2::RegisterFilter(REFCLSID filter, LPCWSTR name, IMoniker** moniker,
                                       const CLSID* category, LPCOLESTR instance, const REGFILTER2* record) {
  CheckPointer(name, E_POINTER);
  CheckPointer(record, E_POINTER);
  if (moniker != nullptr) *moniker = nullptr;
  if (moniker != nullptr || category != nullptr || instance != nullptr) return E_NOTIMPL;
  if (!is_usable(*record)) return E_INVALIDARG;
  return guarded([&] { return write_instance(filter, name, *record); });
}

HRESULT CFilterMapper2::CreateCategory(REFCLSID, DWORD, LPCWSTR) {
  return E_NOTIMPL;
}

HRESULT CFilterMapper2::EnumMatchingFilters(IEnumMoniker**, DWORD, BOOL, DWORD, BOOL, DWORD, const GUID*,
                                            const REGPINMEDIUM*, const CLSID*, BOOL, BOOL, DWORD, const GUID*,
                                            const REGPINMEDIUM*, const CLSID*) {
  return E_NOTIMPL;
}
