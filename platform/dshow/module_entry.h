// What a module defines, and the entry points by which it is loaded.
#pragma once

#include "class_factory.h"

// Marks what a module exports; everything else in a module is hidden.
#define ZDR_MODULE_EXPORT __attribute__((visibility("default")))

// The module's classes. Defined by the module, and constant-initialised, since they are read while the module
// is being loaded.
extern CFactoryTemplate g_Templates[];
extern int g_cTemplates;

// Identifies this module to GetModuleFileName; set while the module is being loaded.
extern HINSTANCE g_hInst;

// The module's DllMain calls DllEntryPoint. In a module without a DllMain, the loading code calls it
// directly.
extern "C" {
BOOL DllEntryPoint(HINSTANCE instance, ULONG reason, void* reserved);
ZDR_MODULE_EXPORT BOOL DllMain(HINSTANCE instance, ULONG reason, void* reserved);
ZDR_MODULE_EXPORT HRESULT DllGetClassObject(REFCLSID rclsid, REFIID riid, void** ppv);
ZDR_MODULE_EXPORT HRESULT DllCanUnloadNow();
}
