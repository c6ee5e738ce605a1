// IAMovieSetup of a filter, and the calls to the mapper that it shares with the registration of a module.
#include "filter_setup.h"

#include "base_filter.h"
#include "platform/com/com_ptr.h"
#include "platform/win32/registry_hold.h"
#include "uuids.h"

namespace zdr::dshow {
namespace {

HRESULT ignore_missing(HRESULT hr) {
  return hr == HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND) ? S_OK : hr;
}

// Calls `act` with the mapper and the filter's setup record. S_FALSE for a filter without a record.
template <class Act>
HRESULT with_mapper(const AMOVIESETUP_FILTER* setup, Act act) {
  if (setup == nullptr) return S_FALSE;
  platform::RegistryHold hold;
  if (hold.error() != NO_ERROR) return HRESULT_FROM_WIN32(hold.error());
  const HRESULT apartment = CoInitialize(nullptr);
  com::ComPtr<IFilterMapper2> mapper;
  HRESULT hr = CoCreateInstance(CLSID_FilterMapper2, nullptr, CLSCTX_INPROC_SERVER, IID_IFilterMapper2,
                                mapper.out_void());
  if (SUCCEEDED(hr)) hr = act(*mapper.get(), *setup);
  mapper.reset();
  if (SUCCEEDED(apartment)) CoUninitialize();
  const DWORD error = hold.commit();
  return FAILED(hr) || error == NO_ERROR ? hr : HRESULT_FROM_WIN32(error);
}

}  // namespace

HRESULT register_filter(IFilterMapper2& mapper, const AMOVIESETUP_FILTER& setup) {
  mapper.UnregisterFilter(nullptr, nullptr, *setup.clsID);  // the old entry may have other values
  REGFILTER2 record{};
  record.dwVersion = 1;
  record.dwMerit = setup.dwMerit;
  record.cPins = setup.nPins;
  record.rgPins = setup.lpPin;
  return ignore_missing(
      mapper.RegisterFilter(*setup.clsID, setup.strName, nullptr, nullptr, nullptr, &record));
}

HRESULT unregister_filter(IFilterMapper2& mapper, const AMOVIESETUP_FILTER& setup) {
  return ignore_missing(mapper.UnregisterFilter(nullptr, nullptr, *setup.clsID));
}

}  // namespace zdr::dshow

HRESULT CBaseFilter::Register() {
  return zdr::dshow::with_mapper(GetSetupData(), zdr::dshow::register_filter);
}

HRESULT CBaseFilter::Unregister() {
  return zdr::dshow::with_mapper(GetSetupData(), zdr::dshow::unregister_filter);
}
