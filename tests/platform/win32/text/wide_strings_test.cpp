// The small wide-string helpers and the debug output.
#include "platform/win32/debug_output.h"
#include "tests/platform/win32/win32_test_support.h"

namespace zdr::platform::test {

namespace {

TEST(WideStringsTest, LengthAndComparison) {
  EXPECT_EQ(lstrlenW(nullptr), 0);
  EXPECT_EQ(lstrlenA("abcd"), 4);
  EXPECT_EQ(lstrcmpW(u"abc", u"abc"), 0);
  EXPECT_LT(lstrcmpW(u"abc", u"abd"), 0);
  EXPECT_GT(lstrcmpW(u"abc", u"ab"), 0);
  EXPECT_NE(lstrcmpW(u"abc", u"ABC"), 0);
  EXPECT_EQ(lstrcmpiW(u".MP4\u00C9", u".mp4\u00E9"), 0);
  EXPECT_NE(lstrcmpiW(u"\u00D7", u"\u00F7"), 0) << "signs, not letters";
  EXPECT_GT(lstrcmpW(u"a", nullptr), 0);
}

TEST(WideStringsTest, CopiesAreBoundedAndTerminated) {
  WCHAR buffer[4] = {u'~', u'~', u'~', u'~'};
  EXPECT_EQ(lstrcpynW(buffer, u"abcdef", 3), buffer);
  EXPECT_EQ(std::u16string(buffer), u"ab");
  EXPECT_EQ(buffer[3], u'~');
  EXPECT_EQ(lstrcpynW(buffer, nullptr, 3), nullptr);
  EXPECT_EQ(StringCchCopyW(buffer, 4, u"abc"), S_OK);
  EXPECT_EQ(StringCchCopyW(buffer, 3, u"abc"), STRSAFE_E_INSUFFICIENT_BUFFER);
  EXPECT_EQ(std::u16string(buffer), u"ab");
  EXPECT_EQ(StringCchCopyW(buffer, 0, u"abc"), E_INVALIDARG);
}

TEST(DebugOutputTest, GoesToItsHookAndKeepsTheLastError) {
  SetLastError(kUntouched);
  std::u16string seen;
  const auto hook = [](const WCHAR* text, void* context) {
    *static_cast<std::u16string*>(context) += text;
    SetLastError(1);
  };
  OutputDebugStringW(u"nobody listens");
  set_debug_output_hook(hook, &seen);
  OutputDebugStringW(u"one ");
  OutputDebugStringW(nullptr);
  OutputDebugStringW(u"two");
  set_debug_output_hook(nullptr, nullptr);
  OutputDebugStringW(u"three");
  EXPECT_EQ(seen, u"one two");
  EXPECT_EQ(GetLastError(), kUntouched);
}

}  // namespace

}  // namespace zdr::platform::test
