// Objects of a module that is named by its path, so that a host can use it without registering it:
//
//     ComPtr<IBaseFilter> filter;
//     HRESULT hr = zdr::com::create_from_module(path, zdr::mp4source::kClsidSourceFilter, IID_IBaseFilter,
//                                               filter.out_void());
//
// The path is UTF-8, and its file may be anywhere. A module is loaded when it is first named, and
// CoFreeUnusedLibraries may unload it again.
#pragma once

#include <objbase.h>

#include <string>

namespace zdr::com {

// CoGetClassObject for the module at this path. HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND) when it cannot be
// loaded, CO_E_ERRORINDLL for a module without DllGetClassObject, or what that function returns.
ZDR_PLATFORM_API HRESULT class_object_from_module(const std::string& path, REFCLSID clsid, REFIID riid,
                                                  void** ppv) noexcept;
// CoCreateInstance for the module at this path: its class object, then IClassFactory::CreateInstance. *ppv is
// null after a failure.
ZDR_PLATFORM_API HRESULT create_from_module(const std::string& path, REFCLSID clsid, REFIID riid,
                                            void** ppv) noexcept;

// The reason, as a sentence with the module's name, why a module that the registry names must not be loaded.
// Empty if it may be loaded: the module, its folder and the registry's folder belong to this user or root,
// and nobody else can write to them. Links are resolved. Empty also for a file that does not exist. Throws
// bad_alloc.
ZDR_PLATFORM_API std::string module_refusal(const std::string& path);
// The same for the module that the registry names for a class; empty also without one.
ZDR_PLATFORM_API std::string registered_module_refusal(REFCLSID clsid);

// Calls an entry point of a module that takes no arguments, such as DllRegisterServer. CO_E_ERRORINDLL if
// the module does not export it.
ZDR_PLATFORM_API HRESULT call_module_entry(const std::string& path, const char* entry) noexcept;

// True if a loaded module refuses to be unloaded because objects of it are alive.
ZDR_PLATFORM_API bool modules_hold_objects();

}  // namespace zdr::com
