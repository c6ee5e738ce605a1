// The class objects of the platform library itself.
#pragma once

#include <objbase.h>

namespace zdr::com {

// Returns CLASS_E_CLASSNOTAVAILABLE for any other class.
HRESULT built_in_class_object(REFCLSID clsid, REFIID riid, void** ppv) noexcept;

}  // namespace zdr::com
