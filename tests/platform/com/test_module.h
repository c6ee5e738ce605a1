// What the test module and the tests that load it agree on.
#pragma once

#include <objbase.h>

// A class that refuses to be part of another object, and one that does not.
inline constexpr CLSID CLSID_TestAlone = zdr::com::guid("5F4B0F0E-7C59-4C5C-9B27-6D1D4B6A3C01");
inline constexpr CLSID CLSID_TestAggregatable = zdr::com::guid("5F4B0F0E-7C59-4C5C-9B27-6D1D4B6A3C02");
// A class whose creator fails after it has made the object.
inline constexpr CLSID CLSID_TestFailing = zdr::com::guid("5F4B0F0E-7C59-4C5C-9B27-6D1D4B6A3C03");
// A class that no module has.
inline constexpr CLSID CLSID_TestMissing = zdr::com::guid("5F4B0F0E-7C59-4C5C-9B27-6D1D4B6A3CFF");

inline constexpr IID IID_ITestModule = zdr::com::guid("5F4B0F0E-7C59-4C5C-9B27-6D1D4B6A3C11");

struct ITestModule : IUnknown {
  // The path of the module as the module itself sees it.
  virtual HRESULT GetModulePath(WCHAR* buffer, DWORD size) = 0;
  // Live objects of the module, before and after it creates and holds an allocator of the platform library.
  virtual HRESULT CountAroundAllocator(LONG* before, LONG* after) = 0;
};

// The module leaves word of what was done to it in this environment variable, for a module that is gone
// cannot be asked: one letter for each event, I and i for the init routines, A and D for attach and detach.
inline constexpr const char* kModuleDiary = "ZDR_TEST_MODULE_DIARY";
