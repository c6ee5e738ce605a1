// Entry points of a module. The dynamic loader runs a constructor and a destructor of the module, which call
// its DllMain with attach and detach.
#include "module_entry.h"

#include "module_templates.h"

// A module need not have a DllMain.
extern "C" __attribute__((weak)) BOOL DllMain(HINSTANCE instance, ULONG reason, void* reserved);

constinit HINSTANCE g_hInst = nullptr;

namespace {

// Its address identifies the module to GetModuleFileName. Constant, so that it is in a page mapped from the
// file: zero-initialised variables are in anonymous pages, which have no path.
constexpr char module_anchor = 0;

void call_init_routines(BOOL loading) {
  for (const CFactoryTemplate& entry : zdr::dshow::module_templates()) {
    if (entry.m_lpfnInit != nullptr) entry.m_lpfnInit(loading, entry.m_ClsID);
  }
}

void notify_module(ULONG reason) {
  HINSTANCE instance = const_cast<char*>(&module_anchor);
  if (&DllMain != nullptr) {
    DllMain(instance, reason, nullptr);
  } else {
    DllEntryPoint(instance, reason, nullptr);
  }
}

__attribute__((constructor)) void module_loaded() {
  notify_module(DLL_PROCESS_ATTACH);
}

__attribute__((destructor)) void module_unloaded() {
  notify_module(DLL_PROCESS_DETACH);
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
  const auto templates = zdr::dshow::module_templates();
  return zdr::dshow::template_class_object(templates.data(), templates.size(), rclsid, riid, ppv);
}

HRESULT DllCanUnloadNow() {
  return CClassFactory::IsLocked() || CBaseObject::ObjectsActive() != 0 ? S_FALSE : S_OK;
}
