// Registers a whole module: its classes and the filters among them.
#pragma once

#include <objbase.h>

// TRUE: writes CLSID\{class} with InprocServer32 (this module's path) for every class of g_Templates, then
// registers the filters among them with the filter mapper. FALSE: removes both, the filters first; a missing
// entry is not a failure. Stops at the first failure and returns it; what was written before stays.
HRESULT AMovieDllRegisterServer2(BOOL register_server);
