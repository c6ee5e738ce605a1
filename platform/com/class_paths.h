// Looks up in the registry which module serves a class.
#pragma once

#include <objbase.h>

#include <string>

namespace zdr::com {

// Reads the default value of HKEY_CLASSES_ROOT\CLSID\{class}\InprocServer32, the absolute path of the module,
// as UTF-8. REGDB_E_CLASSNOTREG without such a key or value, REGDB_E_INVALIDVALUE for data that are not an
// absolute path, and the registry's own failures as HRESULTs.
HRESULT registered_class_path(REFCLSID clsid, std::string& path);

}  // namespace zdr::com
