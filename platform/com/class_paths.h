// Which module serves a class, as the registry says it.
#pragma once

#include <objbase.h>

#include <string>

namespace zdr::com {

// The default value of HKEY_CLASSES_ROOT\CLSID\{class}\InprocServer32: the absolute path (UTF-8) of the
// module. REGDB_E_CLASSNOTREG without such a key or value, REGDB_E_INVALIDVALUE for data that are no such
// path, and the registry's own failures as HRESULTs. The original class path resolver.
HRESULT registered_class_path(REFCLSID clsid, std::string& path);

}  // namespace zdr::com
