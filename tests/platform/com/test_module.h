// The classes and the interface of the test module.
#pragma once

#include <objbase.h>

namespace zdr::test {

// A class that refuses aggregation, and one that allows it.
inline constexpr CLSID CLSID_TestAlone = zdr::com::guid("5F4B0F0E-7C59-4C5C-9B27-6D1D4B6A3C01");
inline constexpr CLSID CLSID_TestAggregatable = zdr::com::guid("5F4B0F0E-7C59-4C5C-9B27-6D1D4B6A3C02");
// A class that no module has.
inline constexpr CLSID CLSID_TestMissing = zdr::com::guid("5F4B0F0E-7C59-4C5C-9B27-6D1D4B6A3CFF");

inline constexpr IID IID_ITestModule = zdr::com::guid("5F4B0F0E-7C59-4C5C-9B27-6D1D4B6A3C11");

struct ITestModule : IUnknown {
  // Live objects of the module while it holds an allocator of the platform library.
  virtual LONG CountBesideAllocator() = 0;
};

// The module records its events in this environment variable, because an unloaded module cannot be called:
// one letter each, I and i for the init routines, A and D for attach and detach.
inline constexpr const char* kModuleLog = "ZDR_TEST_MODULE_LOG";

}  // namespace zdr::test
