// Creation of objects by class identifier.
#include <objbase.h>

#include <atomic>
#include <new>

#include "class_modules.h"
#include "class_paths.h"
#include "module_table.h"

namespace zdr::com {
namespace {

std::atomic<ClassPathResolver> class_path_resolver{&registered_class_path};

// The one place where running out of memory inside the runtime becomes a status.
template <class Work>
HRESULT guarded(Work work) noexcept {
  try {
    return work();
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  } catch (...) {
    return E_UNEXPECTED;
  }
}

HRESULT registered_class_object(REFCLSID clsid, REFIID riid, void** ppv) {
  std::string path;
  const HRESULT hr = class_path_resolver.load()(clsid, path);
  if (FAILED(hr)) return hr;
  return class_object_from_module(path, clsid, riid, ppv);
}

HRESULT load_module(const std::string& path, std::shared_ptr<Module>& module) {
  module = ModuleTable::instance().get(path);
  return module != nullptr ? S_OK : HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND);
}

}  // namespace

ClassPathResolver set_class_path_resolver(ClassPathResolver resolver) noexcept {
  return class_path_resolver.exchange(resolver != nullptr ? resolver : &registered_class_path);
}

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

HRESULT call_module_entry(const std::string& path, const char* entry) noexcept {
  return guarded([&] {
    std::shared_ptr<Module> module;
    const HRESULT hr = load_module(path, module);
    if (FAILED(hr)) return hr;
    const auto function = module->function<HRESULT()>(entry);
    return function != nullptr ? function() : CO_E_ERRORINDLL;
  });
}

}  // namespace zdr::com

HRESULT CoGetClassObject(REFCLSID clsid, DWORD context, void* /*server*/, REFIID riid, void** ppv) noexcept {
  if (ppv == nullptr) return E_POINTER;
  *ppv = nullptr;
  // Every class that exists here is served in the process of its user.
  if ((context & CLSCTX_INPROC_SERVER) == 0) return REGDB_E_CLASSNOTREG;
  const HRESULT built_in = zdr::com::built_in_class_object(clsid, riid, ppv);
  if (built_in != CLASS_E_CLASSNOTAVAILABLE) return built_in;
  return zdr::com::guarded([&] { return zdr::com::registered_class_object(clsid, riid, ppv); });
}

HRESULT CoCreateInstance(REFCLSID clsid, IUnknown* outer, DWORD context, REFIID riid, void** ppv) noexcept {
  if (ppv == nullptr) return E_POINTER;
  *ppv = nullptr;
  void* object = nullptr;
  HRESULT hr = CoGetClassObject(clsid, context, nullptr, IID_IClassFactory, &object);
  if (FAILED(hr)) return hr;
  auto* factory = static_cast<IClassFactory*>(object);
  hr = factory->CreateInstance(outer, riid, ppv);
  factory->Release();
  return hr;
}

void CoFreeUnusedLibraries() noexcept {
  zdr::com::guarded([] {
    zdr::com::ModuleTable::instance().free_unused();
    return S_OK;
  });
}
