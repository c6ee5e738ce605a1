// Registers the classes of a module, and the filters among them.
#include "dll_setup.h"

#include <windows.h>

#include <array>
#include <string>

#include "filter_setup.h"
#include "module_templates.h"
#include "platform/com/com_ptr.h"
#include "platform/com/registry_key.h"
#include "platform/com/status_guard.h"
#include "platform/win32/registry_hold.h"
#include "uuids.h"

namespace {

using zdr::com::class_key;
using zdr::com::hresult_of;
using zdr::com::OpenKey;

// Fails for a path that is too long: a truncated one would name another file.
HRESULT module_path(std::u16string& path) {
  std::array<WCHAR, 4096> buffer;
  const DWORD length = GetModuleFileNameW(g_hInst, buffer.data(), static_cast<DWORD>(buffer.size()));
  if (length == 0 || length == buffer.size()) return hresult_of(static_cast<LSTATUS>(GetLastError()));
  path.assign(buffer.data(), length);
  return S_OK;
}

HRESULT register_class(const CFactoryTemplate& entry, const std::u16string& path) {
  OpenKey key;
  LSTATUS status = key.create(class_key(*entry.m_ClsID));
  if (status == ERROR_SUCCESS) status = key.set_text(nullptr, entry.m_Name);
  OpenKey server;
  if (status == ERROR_SUCCESS) status = server.create(class_key(*entry.m_ClsID) + u"\\InprocServer32");
  if (status == ERROR_SUCCESS) status = server.set_text(nullptr, path);
  if (status == ERROR_SUCCESS) status = server.set_text(u"ThreadingModel", u"Both");
  return hresult_of(status);
}

HRESULT register_classes() {
  std::u16string path;
  HRESULT hr = module_path(path);
  for (const CFactoryTemplate& entry : zdr::dshow::module_templates()) {
    if (SUCCEEDED(hr)) hr = register_class(entry, path);
  }
  return hr;
}

HRESULT unregister_classes() {
  for (const CFactoryTemplate& entry : zdr::dshow::module_templates()) {
    const LSTATUS status = RegDeleteTreeW(HKEY_CLASSES_ROOT, class_key(*entry.m_ClsID).c_str());
    if (status != ERROR_SUCCESS && status != ERROR_FILE_NOT_FOUND) return hresult_of(status);
  }
  return S_OK;
}

// If IFilterMapper2 cannot be created, returns the status of creating the older mapper. That mapper is never
// used: its interface is not declared.
HRESULT create_mapper(zdr::com::ComPtr<IFilterMapper2>& mapper) {
  const HRESULT hr = CoCreateInstance(CLSID_FilterMapper2, nullptr, CLSCTX_INPROC_SERVER, IID_IFilterMapper2,
                                      mapper.out_void());
  if (SUCCEEDED(hr)) return hr;
  zdr::com::ComPtr<IUnknown> older;
  const HRESULT older_hr = CoCreateInstance(CLSID_FilterMapper, nullptr, CLSCTX_INPROC_SERVER,
                                            IID_IFilterMapper, older.out_void());
  return FAILED(older_hr) ? older_hr : E_UNEXPECTED;
}

HRESULT map_filters(BOOL register_server) {
  zdr::com::ComPtr<IFilterMapper2> mapper;
  HRESULT hr = create_mapper(mapper);
  for (const CFactoryTemplate& entry : zdr::dshow::module_templates()) {
    if (FAILED(hr) || entry.m_pAMovieSetup_Filter == nullptr) continue;
    const auto map = register_server ? zdr::dshow::register_filter : zdr::dshow::unregister_filter;
    hr = map(*mapper.get(), *entry.m_pAMovieSetup_Filter);
  }
  return hr;
}

HRESULT register_module(BOOL register_server) {
  HRESULT hr = register_server ? register_classes() : S_OK;
  if (FAILED(hr)) return hr;
  const HRESULT apartment = CoInitialize(nullptr);
  hr = map_filters(register_server);
  CoFreeUnusedLibraries();
  if (SUCCEEDED(apartment)) CoUninitialize();
  return SUCCEEDED(hr) && !register_server ? unregister_classes() : hr;
}

}  // namespace

HRESULT AMovieDllRegisterServer2(BOOL register_server) {
  zdr::platform::RegistryHold hold;
  if (hold.error() != NO_ERROR) return HRESULT_FROM_WIN32(hold.error());
  const HRESULT hr = zdr::com::guarded([register_server] { return register_module(register_server); });
  const DWORD error = hold.commit();
  return FAILED(hr) || error == NO_ERROR ? hr : HRESULT_FROM_WIN32(error);
}
