// The text of GUIDs, and the apartment of each thread.
#include <gtest/gtest.h>
#include <objbase.h>

#include <string>
#include <thread>

namespace zdr::test {
namespace {

constexpr GUID kGuid = {0x01234567, 0x89AB, 0xCDEF, {0xFE, 0xDC, 0xBA, 0x98, 0x76, 0x54, 0x32, 0x10}};
constexpr std::u16string_view kText = u"{01234567-89AB-CDEF-FEDC-BA9876543210}";

TEST(GuidText, IsWrittenOnlyIntoABufferThatHoldsAllOfIt) {
  for (const int size : {39, 40, 38, 1, 0, -1}) {
    std::u16string buffer(100, u'#');
    const bool fits = size >= 39;
    EXPECT_EQ(StringFromGUID2(kGuid, buffer.data(), size), fits ? 39 : 0) << size;
    const std::u16string rest(fits ? 61 : 100, u'#');
    EXPECT_EQ(buffer, fits ? std::u16string(kText) + u'\0' + rest : rest) << size;
  }
}

TEST(GuidText, IsReadInOneFormOnly) {
  struct Case {
    const char16_t* text;
    HRESULT result;
    GUID clsid;
  };
  const Case cases[] = {
      {u"{01234567-89AB-CDEF-FEDC-BA9876543210}", S_OK, kGuid},
      {u"{01234567-89ab-cDeF-fedc-ba9876543210}", S_OK, kGuid},
      {nullptr, S_OK, GUID_NULL},
      {u"", CO_E_CLASSSTRING, GUID_NULL},
      {u"{01234567-89AB-CDEF-FEDC-BA987654321}", CO_E_CLASSSTRING, GUID_NULL},
      {u"{01234567-89AB-CDEF-FEDC-BA98765432100}", CO_E_CLASSSTRING, GUID_NULL},
      {u"{01234567-89AB-CDEF-FEDC-BA987654321G}", CO_E_CLASSSTRING, GUID_NULL},
      {u"{01234567-89AB-CDEF-FEDC-BA98765432\u0661\u0660}", CO_E_CLASSSTRING, GUID_NULL},
      {u"{01234567089AB-CDEF-FEDC-BA9876543210}", CO_E_CLASSSTRING, GUID_NULL},
      {u"{0123456-789AB-CDEF-FEDC-BA9876543210}", CO_E_CLASSSTRING, GUID_NULL},
  };
  for (const Case& c : cases) {
    CLSID clsid = kGuid;
    EXPECT_EQ(CLSIDFromString(c.text, &clsid), c.result);
    EXPECT_EQ(clsid, c.clsid);
  }
}

TEST(Apartment, FirstInitialisationChoosesTheModelUntilAllAreUndone) {
  std::thread([] {
    CoUninitialize();  // an extra call has no effect
    EXPECT_EQ(CoInitialize(nullptr), S_OK);
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE), S_FALSE);
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), RPC_E_CHANGED_MODE);
    CoUninitialize();
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), RPC_E_CHANGED_MODE);
    CoUninitialize();
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
    CoUninitialize();
  }).join();
}

}  // namespace
}  // namespace zdr::test
