// The small wide-string helpers.
#include "win32_test_support.h"

namespace zdr::platform::test {

namespace {

TEST(WideStringsTest, LengthAndComparison) {
  EXPECT_EQ(lstrlenW(nullptr), 0);
  EXPECT_EQ(lstrlenW(u"abc"), 3);
  EXPECT_EQ(lstrlenA(nullptr), 0);
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

TEST(WideStringsTest, NumbersSaturate) {
  const struct {
    LPCWSTR text;
    int value;
  } rows[] = {{u"42", 42},
              {u" \t-7x", -7},
              {u"+3", 3},
              {u"x", 0},
              {u"", 0},
              {u"2147483647", INT32_MAX},
              {u"99999999999999999999", INT32_MAX},
              {u"-99999999999999999999", INT32_MIN}};
  for (const auto& row : rows) EXPECT_EQ(_wtoi(row.text), row.value);
}

}  // namespace

}  // namespace zdr::platform::test
