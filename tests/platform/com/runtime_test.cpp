// The runtime without classes: text of GUIDs, task memory, and the initialisation of each thread.
#include <gtest/gtest.h>
#include <objbase.h>

#include <cstring>
#include <string>
#include <thread>

#include "tests/platform/fault_at.h"

using zdr::platform::FaultPoint;

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

TEST(TaskMemory, ReallocationKeepsTheContentAndSurvivesFailure) {
  auto* block = static_cast<char*>(CoTaskMemRealloc(nullptr, 6));
  ASSERT_NE(block, nullptr);
  std::memcpy(block, "hello", 6);
  block = static_cast<char*>(CoTaskMemRealloc(block, 100000));
  ASSERT_NE(block, nullptr);
  EXPECT_STREQ(block, "hello");
  {
    const FaultAt fault(FaultPoint::kTaskAllocation, 1);
    EXPECT_EQ(CoTaskMemRealloc(block, 200000), nullptr);
  }
  EXPECT_STREQ(block, "hello");
  EXPECT_EQ(CoTaskMemRealloc(block, 0), nullptr);  // frees
}

// a apartment, m multithreaded, n multithreaded without the old data exchange, d default, u uninitialise.
HRESULT make(char call) {
  if (call == 'a') return CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  if (call == 'm') return CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  if (call == 'n') return CoInitializeEx(nullptr, COINIT_DISABLE_OLE1DDE);
  if (call == 'd') return CoInitialize(nullptr);
  CoUninitialize();
  return S_OK;
}

// + first, = once more, ! refused because of the other model.
char sign_of(HRESULT result) {
  if (result == RPC_E_CHANGED_MODE) return '!';
  return result == S_OK ? '+' : result == S_FALSE ? '=' : '?';
}

TEST(Apartment, FirstInitialisationDecidesUntilAllAreUndone) {
  const struct {
    const char* what;
    std::string calls;
    std::string results;
  } runs[] = {
      {"the default is an apartment", "dam", "+=!"},
      {"a flag beside the model", "nmd", "+=!"},
      {"two successes need two ends, a refusal needs none", "aamumum", "+=!+!++"},
      {"one end too many does not count", "uaum", "++++"},
  };
  for (const auto& run : runs) {
    std::string results;
    std::thread([&] {
      for (const char call : run.calls) results += sign_of(make(call));
    }).join();
    EXPECT_EQ(results, run.results) << run.what;
  }
}

}  // namespace
