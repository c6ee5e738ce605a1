// Registration of a whole module: its classes and the filters among them.
#pragma once

#include <objbase.h>

// TRUE: writes CLSID\{class} with InprocServer32 (this module's path) for every class of g_Templates, then
// gives the filters among them to the filter mapper. FALSE: takes both away again, the filters first; what is
// not there is no failure. Stops at the first failure and answers it as an HRESULT; what was written stays.
HRESULT AMovieDllRegisterServer2(BOOL register_server);
