// CoGetClassObject and CoCreateInstance, and what they share with callers that name a module by its path.
#include <objbase.h>

#include "built_in_classes.h"
#include "class_modules.h"
#include "class_paths.h"
#include "com_ptr.h"
#include "module_table.h"
#include "platform/win32/debug_output.h"
#include "platform/win32/file_names.h"
#include "status_guard.h"

namespace zdr::com {
namespace {

HRESULT registered_class_object(REFCLSID clsid, REFIID riid, void** ppv) {
  std::string path;
  const HRESULT hr = registered_class_path(clsid, path);
  if (FAILED(hr)) return hr;
  const std::string refusal = module_refusal(path);
  if (refusal.empty()) return class_object_from_module(path, clsid, riid, ppv);
  OutputDebugStringW(zdr::platform::utf16_file_name("zdr: " + refusal + "\n").c_str());
  return E_ACCESSDENIED;
}

HRESULT load_module(const std::string& path, std::shared_ptr<Module>& module) {
  module = ModuleTable::instance().get(path);
  return module ? S_OK : HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND);
}

}  // namespace

HRESULT class_object_from_module(const std::string& path, REFCLSID clsid, REFIID riid, void** ppv) noexcept {
  if (ppv == nullptr) return E_POINTER;
  *ppv = nullptr;
  return guarded([&] {
    std::shared_ptr<Module> module;
    const HRESULT hr = load_module(path, module);
    if (FAILED(hr)) return hr;
    const auto get_class_object = module->function<HRESULT(REFCLSID, REFIID, void**)>("DllGetClassObject");
    return get_class_object != nullptr ? get_class_object(clsid, riid, ppv) : CO_E_ERRORINDLL;
  });
}

HRESULT create_from_module(const std::string& path, REFCLSID clsid, REFIID riid, void** ppv) noexcept {
  if (ppv == nullptr) return E_POINTER;
  *ppv = nullptr;
  ComPtr<IClassFactory> factory;
  const HRESULT hr = class_object_from_module(path, clsid, IID_IClassFactory, factory.out_void());
  return SUCCEEDED(hr) ? factory->CreateInstance(nullptr, riid, ppv) : hr;
}

HRESULT call_module_entry(const std::string& path, const char* entry) noexcept {
  return guarded([&] {
    std::shared_ptr<Module> module;
    const HRESULT hr = load_module(path, module);
    if (FAILED(hr)) return hr;
    const auto function = module->function<HRESULT()>(entry);
    return function != nullptr ? function() : CO_E_ERRORINDLL;
  });
}

bool modules_hold_objects() {
  return ModuleTable::instance().hold_objects();
}

}  // namespace zdr::com

HRESULT CoGetClassObject(REFCLSID clsid, DWORD context, void* /*server*/, REFIID riid, void** ppv) noexcept {
  if (ppv == nullptr) return E_POINTER;
  *ppv = nullptr;
  // There are no servers outside of the calling process.
  if ((context & CLSCTX_INPROC_SERVER) == 0) return REGDB_E_CLASSNOTREG;
  const HRESULT built_in = zdr::com::built_in_class_object(clsid, riid, ppv);
  if (built_in != CLASS_E_CLASSNOTAVAILABLE) return built_in;
  return zdr::com::guarded([&] { return zdr::com::registered_class_object(clsid, riid, ppv); });
}

HRESULT CoCreateInstance(REFCLSID clsid, IUnknown* outer, DWORD context, REFIID riid, void** ppv) noexcept {
  if (ppv == nullptr) return E_POINTER;
  *ppv = nullptr;
  zdr::com::ComPtr<IClassFactory> factory;
  const HRESULT hr = CoGetClassObject(clsid, context, nullptr, IID_IClassFactory, factory.out_void());
  return SUCCEEDED(hr) ? factory->CreateInstance(outer, riid, ppv) : hr;
}

void CoFreeUnusedLibraries() noexcept {
  zdr::com::guarded([] {
    zdr::com::ModuleTable::instance().free_unused();
    return S_OK;
  });
}
