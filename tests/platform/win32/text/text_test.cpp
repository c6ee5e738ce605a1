// Conversions against iconv as an independent peer, their arguments, and the small helpers.
#include <gmock/gmock.h>
#include <iconv.h>

#include "tests/platform/win32/win32_test_support.h"

namespace zdr::test {

namespace {

using Text = Win32Test;

// iconv's result, or false for input that it refuses.
template <class Out, class In>
bool peer_convert(const char* from, const char* to, std::basic_string<In> input,
                  std::basic_string<Out>& output) {
  const iconv_t converter = iconv_open(to, from);
  EXPECT_NE(converter, reinterpret_cast<iconv_t>(-1));
  output.assign(input.size() * 4 + 4, Out{});
  char* in = reinterpret_cast<char*>(input.data());
  char* out = reinterpret_cast<char*>(output.data());
  size_t in_left = input.size() * sizeof(In);
  size_t out_left = output.size() * sizeof(Out);
  const bool converted = iconv(converter, &in, &in_left, &out, &out_left) != static_cast<size_t>(-1);
  iconv_close(converter);
  output.resize(output.size() - out_left / sizeof(Out));
  return converted;
}

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
    std::string bytes;
    std::u16string text;
    ASSERT_TRUE(peer_convert("UTF-32LE", "UTF-8", std::u32string(1, point), bytes));
    ASSERT_TRUE(peer_convert("UTF-32LE", "UTF-16LE", std::u32string(1, point), text));
    ASSERT_EQ(to_wide(CP_UTF8, bytes), text) << std::hex << uint32_t{point};
    ASSERT_EQ(to_utf8(text), bytes) << std::hex << uint32_t{point};
  }
}

TEST_F(Text, EachMaximalIllFormedPartGivesOneReplacement) {
  const std::pair<const char*, const char16_t*> rows[] = {
      {"a\xFFz", u"a\uFFFDz"},
      {"\xE2\x82z", u"\uFFFDz"},
      {"\xF0\x9F\x8E\xF0\x9F\x8E\xB5", u"\uFFFD\U0001F3B5"},
      {"\xC0\x80", u"\uFFFD\uFFFD"},
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
}

// The peer has no character for five bytes; the platform maps them to the control characters of their number.
TEST_F(Text, Windows1252MatchesThePeer) {
  for (int byte = 1; byte < 256; ++byte) {
    const std::string bytes(1, static_cast<char>(byte));
    std::u16string expected;
    if (!peer_convert("CP1252", "UTF-16LE", bytes, expected)) expected = static_cast<char16_t>(byte);
    EXPECT_EQ(to_wide(CP_ACP, bytes), expected) << byte;
  }
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
      error_of(MultiByteToWideChar(CP_UTF8, 0, nullptr, -1, text, 8)),
      error_of(MultiByteToWideChar(CP_UTF8, 0, "a", -1, nullptr, 8)),
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
  EXPECT_EQ(lstrcpynW(buffer, u"x", 0), nullptr);
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
