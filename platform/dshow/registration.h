// How a filter describes itself to the registry: its pins and their types, its merit, and the interface of
// the mapper that stores the description.
#pragma once

#include <objbase.h>

#include <cstddef>

// The order in which a graph builder tries filters.
enum MERIT : DWORD {
  MERIT_PREFERRED = 0x800000,
  MERIT_NORMAL = 0x600000,
  MERIT_UNLIKELY = 0x400000,
  MERIT_DO_NOT_USE = 0x200000,
  MERIT_SW_COMPRESSOR = 0x100000,
  MERIT_HW_COMPRESSOR = 0x100050,
};

// Flags of a pin in the stored description.
enum REG_PINFLAG : DWORD {
  REG_PINFLAG_B_ZERO = 1,
  REG_PINFLAG_B_RENDERER = 2,
  REG_PINFLAG_B_MANY = 4,
  REG_PINFLAG_B_OUTPUT = 8,
};

struct REGPINTYPES {
  const CLSID* clsMajorType;
  const CLSID* clsMinorType;
};
static_assert(sizeof(REGPINTYPES) == zdr::by_width(16, 8));

struct REGFILTERPINS {
  LPWSTR strName;
  BOOL bRendered;
  BOOL bOutput;
  BOOL bZero;
  BOOL bMany;
  const CLSID* clsConnectsToFilter;
  const WCHAR* strConnectsToPin;
  UINT nMediaTypes;
  const REGPINTYPES* lpMediaType;
};
static_assert(sizeof(REGFILTERPINS) == zdr::by_width(56, 36));
static_assert(offsetof(REGFILTERPINS, lpMediaType) == zdr::by_width(48, 32));

// Version 1 of the record, the only one supported.
struct REGFILTER2 {
  DWORD dwVersion;
  DWORD dwMerit;
  ULONG cPins;
  const REGFILTERPINS* rgPins;
};
static_assert(sizeof(REGFILTER2) == zdr::by_width(24, 16));
static_assert(offsetof(REGFILTER2, rgPins) == zdr::by_width(16, 12));

using AMOVIESETUP_MEDIATYPE = REGPINTYPES;
using AMOVIESETUP_PIN = REGFILTERPINS;

struct AMOVIESETUP_FILTER {
  const CLSID* clsID;
  const WCHAR* strName;
  DWORD dwMerit;
  UINT nPins;
  const AMOVIESETUP_PIN* lpPin;
};
static_assert(sizeof(AMOVIESETUP_FILTER) == zdr::by_width(32, 20));
static_assert(offsetof(AMOVIESETUP_FILTER, lpPin) == zdr::by_width(24, 16));
using LPAMOVIESETUP_FILTER = AMOVIESETUP_FILTER*;

// S_FALSE when the filter has no setup data.
struct IAMovieSetup : IUnknown {
  virtual HRESULT Register() = 0;
  virtual HRESULT Unregister() = 0;
};

struct IMoniker;
struct IEnumMoniker;
struct REGPINMEDIUM;

struct IFilterMapper2 : IUnknown {
  virtual HRESULT CreateCategory(REFCLSID clsidCategory, DWORD dwCategoryMerit, LPCWSTR Description) = 0;
  // HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND) for a filter that is not registered.
  virtual HRESULT UnregisterFilter(const CLSID* pclsidCategory, LPCOLESTR szInstance, REFCLSID Filter) = 0;
  // A null category is the legacy one, a null instance the text of the filter's identifier. Does not register
  // the module that serves the class. VFW_E_BAD_KEY if the registry cannot be written.
  virtual HRESULT RegisterFilter(REFCLSID clsidFilter, LPCWSTR Name, IMoniker** ppMoniker,
                                 const CLSID* pclsidCategory, LPCOLESTR szInstance,
                                 const REGFILTER2* prf2) = 0;
  virtual HRESULT EnumMatchingFilters(IEnumMoniker** ppEnum, DWORD dwFlags, BOOL bExactMatch, DWORD dwMerit,
                                      BOOL bInputNeeded, DWORD cInputTypes, const GUID* pInputTypes,
                                      const REGPINMEDIUM* pMedIn, const CLSID* pPinCategoryIn, BOOL bRender,
                                      BOOL bOutputNeeded, DWORD cOutputTypes, const GUID* pOutputTypes,
                                      const REGPINMEDIUM* pMedOut, const CLSID* pPinCategoryOut) = 0;
};

inline constexpr IID IID_IAMovieSetup = zdr::com::guid("A3D8CEC0-7E5A-11CF-BBC5-00805F6CEF20");
inline constexpr IID IID_IFilterMapper2 = zdr::com::guid("B79BB0B0-33C1-11D1-ABE1-00A0C905F375");
// The older mapper, which registration tries when the newer one is missing. Nothing here implements it.
inline constexpr IID IID_IFilterMapper = zdr::com::guid("56A868A3-0AD4-11CE-B03A-0020AF0BA770");
