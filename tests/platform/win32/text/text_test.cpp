// Conversions against those of the standard library as an independent peer, their arguments, and the small
// helpers.
#include <gmock/gmock.h>

#include "platform/win32/file_names.h"
#include "tests/platform/win32/win32_test_support.h"

namespace zdr::test {

namespace {

using Text = Win32Test;

// Queries the size, then converts: first with room for one unit too few, then with enough.
std::u16string to_wide(UINT page, const std::string& bytes) {
  const int count = static_cast<int>(bytes.size());
  const int size = MultiByteToWideChar(page, 0, bytes.data(), count, nullptr, 0);
  std::u16string text(static_cast<size_t>(size), u'\xFFFE');
  if (size > 1) {
    EXPECT_EQ(MultiByteToWideChar(page, 0, bytes.data(), count, text.data(), size - 1), 0);
    EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
    EXPECT_EQ(text.back(), u'\xFFFE') << "nothing is written beyond the room";
  }
  EXPECT_EQ(MultiByteToWideChar(page, 0, bytes.data(), count, text.data(), size), size);
  return text;
}

std::string to_utf8(const std::u16string& text) {
  const int count = static_cast<int>(text.size());
  const int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), count, nullptr, 0, nullptr, nullptr);
  std::string bytes(static_cast<size_t>(size), '\0');
  EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, text.data(), count, bytes.data(), size, nullptr, nullptr), size);
  return bytes;
}

TEST_F(Text, EveryCodePointIsConvertedBothWaysAsByThePeer) {
  for (char32_t point = 1; point < 0x110000; point += point < 0x3000 ? 1 : 61) {
    if (point >= 0xD800 && point < 0xE000) continue;
    const std::filesystem::path peer(std::u32string(1, point));
    ASSERT_EQ(to_wide(CP_UTF8, peer.string()), peer.u16string()) << std::hex << uint32_t{point};
    ASSERT_EQ(to_utf8(peer.u16string()), peer.string()) << std::hex << uint32_t{point};
  }
}

// All names of up to four bytes from those at which the rules of UTF-8 change.
TEST_F(Text, EveryNameOfTheSystemSurvivesTheRoundTrip) {
  constexpr std::string_view kBytes = "a\x7F\x80\x8F\x90\x9F\xA0\xB2\xBF\xC1\xC2\xE0\xED\xEF\xF0\xF4\xF5\xFF";
  std::vector<std::string> names = {""};
  for (size_t at = 0; at < names.size(); ++at) {
    const std::string name = names[at];
    ASSERT_EQ(platform::native_file_name(platform::utf16_file_name(name)), name);
    if (name.size() == 4) continue;
    for (const char byte : kBytes) names.push_back(name + byte);
  }
}

TEST_F(Text, EachMaximalIllFormedPartGivesOneReplacement) {
  const std::pair<const char*, const char16_t*> rows[] = {
      {"a\xFFz", u"a\uFFFDz"},
      {"\xE2\x82z", u"\uFFFDz"},
      {"\xF0\x9F\x8E\xF0\x9F\x8E\xB5", u"\uFFFD\U0001F3B5"},
      {"\xC1\xBF", u"\uFFFD\uFFFD"},
      {"\xE0\x9F\xBF", u"\uFFFD\uFFFD\uFFFD"},
      {"\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},
      {"\xF0\x8F\xBF\xBF", u"\uFFFD\uFFFD\uFFFD\uFFFD"},
      {"\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},
      {"\xF5\x80\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},
      {"\x80\xC3", u"\uFFFD\uFFFD"}};
  for (const auto& [bytes, text] : rows) EXPECT_EQ(to_wide(CP_UTF8, bytes), text) << bytes;
  EXPECT_EQ(to_utf8({u'a', 0xD800, u'b', 0xDC00}),
            "a\xEF\xBF\xBD"
            "b\xEF\xBF\xBD");
  char three[3];
  EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, u"\U0001F3B5", 1, three, 3, nullptr, nullptr), 3)
      << "half a pair, whatever follows the text";
}

// Five bytes have no character; they are the control characters of their number.
TEST_F(Text, Windows1252DiffersFromLatin1In32Bytes) {
  std::string bytes;
  for (int byte = 0x80; byte < 0x100; ++byte) bytes += static_cast<char>(byte);
  const std::u16string characters = to_wide(CP_ACP, bytes);
  EXPECT_EQ(
      characters.substr(0, 32),
      u"\u20AC\u0081\u201A\u0192\u201E\u2026\u2020\u2021\u02C6\u2030\u0160\u2039\u0152\u008D\u017D\u008F"
      u"\u0090\u2018\u2019\u201C\u201D\u2022\u2013\u2014\u02DC\u2122\u0161\u203A\u0153\u009D\u017E\u0178");
  for (size_t i = 32; i < 128; ++i) EXPECT_EQ(characters[i], 0x80 + i);
}

TEST_F(Text, TheTerminatorCountsOnlyWithoutALength) {
  WCHAR text[8] = u"~~~";
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "ab", -1, nullptr, 0), 3);
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "ab", -1, text, 8), 3);
  EXPECT_EQ(std::u16string(text), u"ab");
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "a\0b", 3, text, 8), 3) << "a NUL inside is a character";
  text[1] = u'~';
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "a\xF0\x9F\x8E\xB5", 5, text, 2), 0);
  EXPECT_EQ(text[1], u'~') << "a pair that does not fit is not split";
}

TEST_F(Text, BadArgumentsAreRefused) {
  WCHAR text[8] = u"ab";
  const auto error_of = [](int count) { return count == 0 ? GetLastError() : kNoFailure; };
  const DWORD errors[] = {
      error_of(MultiByteToWideChar(CP_UTF8, 0, "a", 0, text, 8)),
      error_of(MultiByteToWideChar(CP_UTF8, 0, "a", -2, text, 8)),
      error_of(MultiByteToWideChar(CP_UTF8, 0, reinterpret_cast<char*>(text), 2, text, 8)),
      error_of(MultiByteToWideChar(437, 0, "a", -1, text, 8)),
      error_of(WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, "?", nullptr)),
  };
  EXPECT_THAT(errors, testing::Each(DWORD{ERROR_INVALID_PARAMETER}));
}

TEST_F(Text, CopiesAreBoundedAndTerminated) {
  WCHAR buffer[4] = {u'~', u'~', u'~', u'~'};
  EXPECT_EQ(lstrcpynW(buffer, u"abcdef", 3), buffer);
  EXPECT_EQ(std::u16string(buffer), u"ab");
  EXPECT_EQ(buffer[3], u'~');
  EXPECT_EQ(lstrcpynW(buffer, nullptr, 3), nullptr);
  EXPECT_EQ(lstrlenW(buffer), 2);
  EXPECT_EQ(lstrlenW(nullptr), 0);
}

TEST_F(Text, NumbersAreReadAfterBlanksAndSaturate) {
  EXPECT_EQ(_wtoi(u" \t\n42 x"), 42);
  EXPECT_EQ(_wtoi(u"+7"), 7);
  EXPECT_EQ(_wtoi(nullptr), 0);
  EXPECT_EQ(_wtoi(u"2147483648"), INT32_MAX);
  EXPECT_EQ(_wtoi(u"-99999999999999999999"), INT32_MIN);
}

}  // namespace

}  // namespace zdr::test
