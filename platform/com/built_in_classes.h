// The class objects of the platform library itself.
#pragma once

#include <objbase.h>

namespace zdr::com {

// CLASS_E_CLASSNOTAVAILABLE for a class of anybody else.
HRESULT built_in_class_object(REFCLSID clsid, REFIID riid, void** ppv) noexcept;

}  // namespace zdr::com
