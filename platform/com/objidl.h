// The object interfaces of COM that the media layer builds upon: IPersist, and the names (without a body) of
// interfaces that occur in its signatures only.
#pragma once

#include "unknwn.h"

struct IPersist : IUnknown {
  virtual HRESULT GetClassID(CLSID* pClassID) = 0;
};

struct IMoniker;
struct IEnumMoniker;

inline constexpr IID IID_IMalloc = zdr::com::guid("00000002-0000-0000-C000-000000000046");
inline constexpr IID IID_IMoniker = zdr::com::guid("0000000F-0000-0000-C000-000000000046");
inline constexpr IID IID_IEnumMoniker = zdr::com::guid("00000102-0000-0000-C000-000000000046");
inline constexpr IID IID_IPersistStream = zdr::com::guid("00000109-0000-0000-C000-000000000046");
inline constexpr IID IID_IPersist = zdr::com::guid("0000010C-0000-0000-C000-000000000046");
inline constexpr IID IID_ISpecifyPropertyPages = zdr::com::guid("B196B28B-BAB4-101A-B69C-00AA00341D07");
