#include "filter_mapper.h"

#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "filter_data.h"
#include "nothrow_new.h"
#include "platform/com/registry_key.h"
#include "uuids.h"

namespace {

using zdr::com::braced_text;
using zdr::com::class_key;
using zdr::com::OpenKey;

template <class Work>
HRESULT guarded(Work work) noexcept {
  try {
    return work();
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}

std::u16string instance_key(const CLSID* category, LPCOLESTR instance, REFCLSID filter) {
  const std::u16string name = instance != nullptr ? instance : braced_text(filter);
  return class_key(category != nullptr ? *category : CLSID_LegacyAmFilterCategory) + u"\\Instance\\" + name;
}

// A name with a backslash would become a key within a key.
bool is_key_name(LPCOLESTR instance) {
  return instance == nullptr ||
         (*instance != 0 && std::u16string_view(instance).find(u'\\') == std::u16string_view::npos);
}

bool has_usable_pins(const REGFILTER2& record) {
  if (record.dwVersion == 1) return record.cPins == 0 || record.rgPins != nullptr;
  return record.dwVersion == 2 && (record.cPins2 == 0 || record.rgPins2 != nullptr);
}

HRESULT write_instance(const std::u16string& path, REFCLSID filter, LPCWSTR name, const REGFILTER2& record) {
  const std::vector<BYTE> data = zdr::dshow::pack_filter_data(record);
  OpenKey key;
  LSTATUS status = key.create(path);
  if (status == ERROR_SUCCESS) status = key.set_text(u"CLSID", braced_text(filter));
  if (status == ERROR_SUCCESS) status = key.set_text(u"FriendlyName", name);
  if (status == ERROR_SUCCESS) status = key.set(u"FilterData", REG_BINARY, data.data(), data.size());
  return status == ERROR_SUCCESS ? S_OK : VFW_E_BAD_KEY;
}

}  // namespace

CUnknown* CFilterMapper2::CreateInstance(IUnknown* outer, HRESULT* phr) {
  return zdr::dshow::new_or_null<CFilterMapper2>(NAME("Filter mapper"), outer, phr);
}

HRESULT CFilterMapper2::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
  if (riid == IID_IFilterMapper2) return GetInterface(static_cast<IFilterMapper2*>(this), ppv);
  return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

HRESULT CFilterMapper2::CreateCategory(REFCLSID category, DWORD merit, LPCWSTR description) {
  CheckPointer(description, E_POINTER);
  return guarded([&]() -> HRESULT {
    OpenKey key;
    const CLSID categories = CLSID_ActiveMovieCategories;
    LSTATUS status = key.create(instance_key(&categories, nullptr, category));
    if (status == ERROR_SUCCESS) status = key.set_text(u"CLSID", braced_text(category));
    if (status == ERROR_SUCCESS) status = key.set_text(u"FriendlyName", description);
    if (status == ERROR_SUCCESS) status = key.set(u"Merit", REG_DWORD, &merit, sizeof merit);
    return status == ERROR_SUCCESS ? S_OK : VFW_E_BAD_KEY;
  });
}

HRESULT CFilterMapper2::UnregisterFilter(const CLSID* category, LPCOLESTR instance, REFCLSID filter) {
  if (!is_key_name(instance)) return VFW_E_BAD_KEY;
  return guarded([&] {
    const std::u16string path = instance_key(category, instance, filter);
    return zdr::com::hresult_of(RegDeleteTreeW(HKEY_CLASSES_ROOT, path.c_str()));
  });
}

HRESULT CFilterMapper2::RegisterFilter(REFCLSID filter, LPCWSTR name, IMoniker** moniker,
                                       const CLSID* category, LPCOLESTR instance, const REGFILTER2* record) {
  CheckPointer(name, E_POINTER);
  CheckPointer(record, E_POINTER);
  // There are no monikers here: whoever asks for one would go on to use it.
  if (moniker != nullptr) {
    *moniker = nullptr;
    return E_NOTIMPL;
  }
  if (!has_usable_pins(*record)) return E_INVALIDARG;
  if (!is_key_name(instance)) return VFW_E_BAD_KEY;
  return guarded(
      [&] { return write_instance(instance_key(category, instance, filter), filter, name, *record); });
}

HRESULT CFilterMapper2::EnumMatchingFilters(IEnumMoniker**, DWORD, BOOL, DWORD, BOOL, DWORD, const GUID*,
                                            const REGPINMEDIUM*, const CLSID*, BOOL, BOOL, DWORD, const GUID*,
                                            const REGPINMEDIUM*, const CLSID*) {
  return E_NOTIMPL;
}
