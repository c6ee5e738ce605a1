// Entry points of a module. Loading and unloading are told to the module's DllMain, which passes them on to
// DllEntryPoint, by functions that the dynamic loader runs.
#include <cstddef>
#include <span>

#include "class_factory.h"
#include "combase.h"

// A module need not have a DllMain.
extern "C" __attribute__((weak)) BOOL DllMain(HINSTANCE instance, ULONG reason, void* reserved);

constinit HINSTANCE g_hInst = nullptr;

namespace {

// Identifies the module to GetModuleFileName by lying inside it. Constant, so that its page is one of the
// file's: the system knows no path for the pages of variables that start as zero.
constexpr char module_anchor = 0;

std::span<const CFactoryTemplate> templates() noexcept {
  return {g_Templates, static_cast<std::size_t>(g_cTemplates)};
}

void call_init_routines(BOOL loading) {
  for (const CFactoryTemplate& entry : templates()) {
    if (entry.m_lpfnInit != nullptr) entry.m_lpfnInit(loading, entry.m_ClsID);
  }
}

void tell_module(ULONG reason) {
  HINSTANCE instance = const_cast<char*>(&module_anchor);
  if (&DllMain != nullptr) {
    DllMain(instance, reason, nullptr);
  } else {
    DllEntryPoint(instance, reason, nullptr);
  }
}

__attribute__((constructor)) void module_loaded() {
  tell_module(DLL_PROCESS_ATTACH);
}

__attribute__((destructor)) void module_unloaded() {
  tell_module(DLL_PROCESS_DETACH);
}

}  // namespace

BOOL DllEntryPoint(HINSTANCE instance, ULONG reason, void* /*reserved*/) {
  if (reason == DLL_PROCESS_ATTACH) {
    g_hInst = instance;
    call_init_routines(TRUE);
  } else if (reason == DLL_PROCESS_DETACH) {
    call_init_routines(FALSE);
  }
  return TRUE;
}

HRESULT DllGetClassObject(REFCLSID rclsid, REFIID riid, void** ppv) {
  return zdr::dshow::template_class_object(templates(), rclsid, riid, ppv);
}

HRESULT DllCanUnloadNow() {
  return CClassFactory::IsLocked() || CBaseObject::ObjectsActive() != 0 ? S_FALSE : S_OK;
}
