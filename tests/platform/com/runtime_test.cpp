// The text of GUIDs, and the apartment of each thread.
#include <gtest/gtest.h>
#include <objbase.h>

#include <string>
#include <thread>
#include <tuple>

namespace zdr::test {
namespace {

constexpr GUID kGuid = {0x01234567, 0x89AB, 0xCDEF, {0xFE, 0xDC, 0xBA, 0x98, 0x76, 0x54, 0x32, 0x10}};
constexpr std::u16string_view kText = u"{01234567-89AB-CDEF-FEDC-BA9876543210}";

TEST(GuidText, IsWrittenOnlyIntoABufferThatHoldsAllOfIt) {
  std::u16string buffer(40, u'#');
  EXPECT_EQ(StringFromGUID2(kGuid, buffer.data(), 38), 0);
  EXPECT_EQ(buffer, std::u16string(40, u'#'));
  EXPECT_EQ(StringFromGUID2(kGuid, buffer.data(), 39), 39);
  EXPECT_EQ(buffer, std::u16string(kText) + u'\0' + u'#');
}

TEST(GuidText, IsReadInOneFormOnly) {
  const std::tuple<const char16_t*, HRESULT, GUID> rows[] = {
      {u"{01234567-89ab-CDEF-fedc-ba9876543210}", S_OK, kGuid},
      {nullptr, S_OK, GUID_NULL},
      {u"{01234567-89AB-CDEF-FEDC-BA987654321}", CO_E_CLASSSTRING, GUID_NULL},
      {u"{01234567-89AB-CDEF-FEDC-BA98765432100}", CO_E_CLASSSTRING, GUID_NULL},
      {u"{01234567-89AB-CDEF-FEDC-BA987654321G}", CO_E_CLASSSTRING, GUID_NULL},
      {u"{01234567-89AB-CDEF-FEDC-BA98765432\u0661\u0660}", CO_E_CLASSSTRING, GUID_NULL},
      {u"{01234567089AB-CDEF-FEDC-BA9876543210}", CO_E_CLASSSTRING, GUID_NULL},
  };
  for (const auto& [text, result, expected] : rows) {
    CLSID clsid = kGuid;
    EXPECT_EQ(CLSIDFromString(text, &clsid), result);
    EXPECT_EQ(clsid, expected);
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
