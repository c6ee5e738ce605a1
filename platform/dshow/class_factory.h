// Look-up in a table of class templates, as a module and the platform library itself use it.
#pragma once

#include <span>

#include "combase.h"

namespace zdr::dshow {

// A factory for the first template of the class. E_NOINTERFACE unless IUnknown or IClassFactory is asked for,
// CLASS_E_CLASSNOTAVAILABLE when there is no such template.
HRESULT template_class_object(std::span<const CFactoryTemplate> templates, REFCLSID clsid, REFIID riid,
                              void** ppv);

}  // namespace zdr::dshow
