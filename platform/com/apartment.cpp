// Counts the initialisations of each thread. Apartments have no other effect: objects are called directly
// from every thread.
#include <objbase.h>

namespace {

struct ThreadApartment {
  DWORD initialisations;  // not yet balanced by CoUninitialize
  DWORD model;            // COINIT_MULTITHREADED or COINIT_APARTMENTTHREADED
};

thread_local constinit ThreadApartment apartment{};

}  // namespace

HRESULT CoInitialize(void* reserved) noexcept {
  return CoInitializeEx(reserved, COINIT_APARTMENTTHREADED);
}

HRESULT CoInitializeEx(void* /*reserved*/, DWORD coinit) noexcept {
  const DWORD model = coinit & COINIT_APARTMENTTHREADED;
  if (apartment.initialisations == 0) {
    apartment = {1, model};
    return S_OK;
  }
  if (apartment.model != model) return RPC_E_CHANGED_MODE;
  ++apartment.initialisations;
  return S_FALSE;
}

void CoUninitialize() noexcept {
  if (apartment.initialisations != 0) --apartment.initialisations;
}
