// IPersist, the interface by which an object names its class.
#pragma once

#include "unknwn.h"

struct IPersist : IUnknown {
  virtual HRESULT GetClassID(CLSID* pClassID) = 0;
};

inline constexpr IID IID_IPersist = zdr::com::guid("0000010C-0000-0000-C000-000000000046");
