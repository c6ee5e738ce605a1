// Text of GUIDs: the printed form, what is accepted and what is refused.
#include <gtest/gtest.h>
#include <objbase.h>

#include <string>

namespace {

constexpr GUID kGuid = {0x01234567, 0x89AB, 0xCDEF, {0xFE, 0xDC, 0xBA, 0x98, 0x76, 0x54, 0x32, 0x10}};
constexpr std::u16string_view kText = u"{01234567-89AB-CDEF-FEDC-BA9876543210}";

TEST(GuidText, PrintsOnlyIntoABufferThatHoldsAllOfIt) {
  for (const int size : {39, 40, 100}) {
    std::u16string buffer(100, u'#');
    EXPECT_EQ(StringFromGUID2(kGuid, buffer.data(), size), 39) << size;
    EXPECT_EQ(std::u16string_view(buffer.c_str()), kText);
    EXPECT_EQ(buffer.find_first_not_of(u'#', 39), std::u16string::npos) << "wrote behind the NUL";
  }
  for (const int size : {38, 1, 0, -1}) {
    std::u16string buffer(100, u'#');
    EXPECT_EQ(StringFromGUID2(kGuid, buffer.data(), size), 0) << size;
    EXPECT_EQ(buffer, std::u16string(100, u'#'));
  }
}

TEST(GuidText, ReadsOneFormOnly) {
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
      {u"01234567-89AB-CDEF-FEDC-BA9876543210", CO_E_CLASSSTRING, GUID_NULL},
      {u"{01234567-89AB-CDEF-FEDC-BA987654321}", CO_E_CLASSSTRING, GUID_NULL},
      {u"{01234567-89AB-CDEF-FEDC-BA98765432100}", CO_E_CLASSSTRING, GUID_NULL},
      {u"{01234567-89AB-CDEF-FEDC-BA987654321G}", CO_E_CLASSSTRING, GUID_NULL},
      {u"{01234567-89AB-CDEF-FEDC-BA98765432\u0661\u0660}", CO_E_CLASSSTRING, GUID_NULL},
      {u"{01234567089AB-CDEF-FEDC-BA9876543210}", CO_E_CLASSSTRING, GUID_NULL},
      {u"{0123456-789AB-CDEF-FEDC-BA9876543210}", CO_E_CLASSSTRING, GUID_NULL},
      {u"(01234567-89AB-CDEF-FEDC-BA9876543210)", CO_E_CLASSSTRING, GUID_NULL},
      {u" {01234567-89AB-CDEF-FEDC-BA9876543210}", CO_E_CLASSSTRING, GUID_NULL},
      {u"Media.Player.1", CO_E_CLASSSTRING, GUID_NULL},
  };
  for (const Case& c : cases) {
    CLSID clsid = kGuid;
    EXPECT_EQ(CLSIDFromString(c.text, &clsid), c.result);
    EXPECT_EQ(clsid, c.clsid);
  }
}

}  // namespace
