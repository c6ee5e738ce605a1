// Where class objects come from: the classes that the platform library has built in, the question which
// module serves a class, and the modules themselves by path. CoGetClassObject puts these together.
#pragma once

#include <objbase.h>

#include <string>

namespace zdr::com {

// The class objects of the platform library itself. CLASS_E_CLASSNOTAVAILABLE for any other class.
HRESULT built_in_class_object(REFCLSID clsid, REFIID riid, void** ppv) noexcept;

// Tells the path (UTF-8) of the module that serves a class: S_OK, or REGDB_E_CLASSNOTREG or another failure,
// which CoGetClassObject returns. Called from any thread.
using ClassPathResolver = HRESULT (*)(REFCLSID clsid, std::string& path);

// Replaces the resolver and returns the one before; nullptr brings back the original one, which asks the
// registry.
ZDR_PLATFORM_API ClassPathResolver set_class_path_resolver(ClassPathResolver resolver) noexcept;

// A class object straight from a module, without asking the resolver. The module is loaded when it is not yet
// and is one that CoFreeUnusedLibraries looks after. HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND),
// CO_E_ERRORINDLL, or what DllGetClassObject of the module says.
ZDR_PLATFORM_API HRESULT class_object_from_module(const std::string& path, REFCLSID clsid, REFIID riid,
                                                  void** ppv) noexcept;

// Calls an entry point of a module that takes no arguments, such as DllRegisterServer. CO_E_ERRORINDLL when
// the module does not have it.
ZDR_PLATFORM_API HRESULT call_module_entry(const std::string& path, const char* entry) noexcept;

}  // namespace zdr::com
