// Entry header of the COM runtime: task memory, GUID text, apartments, creation of objects by class
// identifier. The functions are in the shared platform library, so that a host and the modules that it loads
// share one allocator and one table of modules. All are safe to call from any thread.
#pragma once

#include <windows.h>

#include "objidl.h"
#include "unknwn.h"

enum CLSCTX : DWORD {
  CLSCTX_INPROC_SERVER = 0x01,
  CLSCTX_INPROC_HANDLER = 0x02,
  CLSCTX_LOCAL_SERVER = 0x04,
  CLSCTX_REMOTE_SERVER = 0x10,
  CLSCTX_INPROC = CLSCTX_INPROC_SERVER | CLSCTX_INPROC_HANDLER,
  CLSCTX_ALL = 0x17,
};

enum COINIT : DWORD {
  COINIT_MULTITHREADED = 0,
  COINIT_APARTMENTTHREADED = 2,
  COINIT_DISABLE_OLE1DDE = 4,
  COINIT_SPEED_OVER_MEMORY = 8,
};

// Characters of "{8-4-4-4-12}" with the terminating NUL.
inline constexpr int CHARS_IN_GUID = 39;

extern "C" {

// Task memory. A block that a function returns is freed by the caller. CoTaskMemAlloc returns null if
// memory is exhausted, and a valid pointer for a size of 0. Freeing null is harmless.
ZDR_PLATFORM_API void* CoTaskMemAlloc(SIZE_T size) noexcept;
ZDR_PLATFORM_API void CoTaskMemFree(void* block) noexcept;

// Writes "{8-4-4-4-12}" in upper case with its NUL and returns 39, or 0 if the buffer holds fewer than 39.
ZDR_PLATFORM_API int StringFromGUID2(REFGUID guid, WCHAR* buffer, int characters) noexcept;

// Reads "{8-4-4-4-12}", digits of either case. A null text yields GUID_NULL and S_OK; any other text that is
// not of this form yields GUID_NULL and CO_E_CLASSSTRING.
ZDR_PLATFORM_API HRESULT CLSIDFromString(const WCHAR* text, CLSID* clsid) noexcept;

// Per thread: S_OK for the first call, S_FALSE for later ones with the same model, RPC_E_CHANGED_MODE with
// the other one. Every success, S_FALSE included, is balanced by one CoUninitialize. CoInitialize chooses
// COINIT_APARTMENTTHREADED.
ZDR_PLATFORM_API HRESULT CoInitialize(void* reserved) noexcept;
ZDR_PLATFORM_API HRESULT CoInitializeEx(void* reserved, DWORD coinit) noexcept;
ZDR_PLATFORM_API void CoUninitialize() noexcept;

// The factory of a class: built-in classes first, then the module that the registry names for the class.
// REGDB_E_CLASSNOTREG for an unknown class, HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND) for a module that cannot
// be loaded, CO_E_ERRORINDLL for one without DllGetClassObject.
ZDR_PLATFORM_API HRESULT CoGetClassObject(REFCLSID clsid, DWORD context, void* server, REFIID riid,
                                          void** ppv) noexcept;

// CoGetClassObject, then IClassFactory::CreateInstance. *ppv is null after a failure.
ZDR_PLATFORM_API HRESULT CoCreateInstance(REFCLSID clsid, IUnknown* outer, DWORD context, REFIID riid,
                                          void** ppv) noexcept;

// Unloads every module whose DllCanUnloadNow returns S_OK. No other thread may still be inside the last
// Release of an object of such a module: the code it returns through would be gone.
ZDR_PLATFORM_API void CoFreeUnusedLibraries() noexcept;

}  // extern "C"
