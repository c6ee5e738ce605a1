// MultiByteToWideChar and WideCharToMultiByte: the C library's iconv as an independent peer, a table for
// errors.
#include <iconv.h>

#include <random>
#include <vector>

#include "tests/platform/win32/win32_test_support.h"

namespace zdr::platform::test {

namespace {

using CodePagesTest = Win32Test;

// iconv's result, or nothing for input that it refuses.
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

// Converts after asking for the size, with one unit too few first.
std::u16string to_wide(UINT page, DWORD flags, const std::string& bytes) {
  const int count = static_cast<int>(bytes.size());
  const int size = MultiByteToWideChar(page, flags, bytes.data(), count, nullptr, 0);
  std::u16string wide_text(static_cast<size_t>(size), u'\xFFFF');
  if (size > 1) {
    EXPECT_EQ(MultiByteToWideChar(page, flags, bytes.data(), count, wide_text.data(), size - 1), 0);
    EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
    EXPECT_EQ(wide_text.back(), u'\xFFFF') << "nothing beyond the room given";
  }
  if (size == 0) return wide_text;
  EXPECT_EQ(MultiByteToWideChar(page, flags, bytes.data(), count, wide_text.data(), size), size);
  return wide_text;
}

std::string to_bytes(UINT page, DWORD flags, const std::u16string& text) {
  const int count = static_cast<int>(text.size());
  const int size = WideCharToMultiByte(page, flags, text.data(), count, nullptr, 0, nullptr, nullptr);
  std::string bytes(static_cast<size_t>(size), '\0');
  EXPECT_EQ(WideCharToMultiByte(page, flags, text.data(), count, bytes.data(), size, nullptr, nullptr), size);
  return bytes;
}

TEST_F(CodePagesTest, EveryCodePointGoesBothWaysLikeThePeers) {
  for (char32_t point = 1; point < 0x110000; point += point < 0x3000 ? 1 : 61) {
    if (point >= 0xD800 && point < 0xE000) continue;
    std::string bytes;
    std::u16string wide_text;
    ASSERT_TRUE(peer_convert("UTF-32LE", "UTF-8", std::u32string(1, point), bytes));
    ASSERT_TRUE(peer_convert("UTF-32LE", "UTF-16LE", std::u32string(1, point), wide_text));
    ASSERT_EQ(to_wide(CP_UTF8, MB_ERR_INVALID_CHARS, bytes), wide_text) << std::hex << uint32_t{point};
    ASSERT_EQ(to_bytes(CP_UTF8, WC_ERR_INVALID_CHARS, wide_text), bytes) << std::hex << uint32_t{point};
  }
}

TEST_F(CodePagesTest, RandomBytesAreRefusedExactlyWhenThePeerRefusesThem) {
  std::mt19937 random(3);
  int refused = 0;
  for (int i = 0; i < 30'000; ++i) {
    std::string bytes(1 + random() % 5, '\0');
    for (char& byte : bytes) {
      const auto choice = random() % 4;
      byte = static_cast<char>(choice == 0   ? random()
                               : choice == 1 ? 0x80 + random() % 0x40
                                             : 0xC0 + random() % 0x40);
      if (byte == 0) byte = 'a';
    }
    std::u16string peer;
    const bool valid = peer_convert("UTF-8", "UTF-16LE", bytes, peer);
    SetLastError(kUntouched);
    const std::u16string strict = to_wide(CP_UTF8, MB_ERR_INVALID_CHARS, bytes);
    ASSERT_EQ(!strict.empty(), valid);
    if (valid) {
      ASSERT_EQ(strict, peer);
      continue;
    }
    ++refused;
    ASSERT_EQ(GetLastError(), ERROR_NO_UNICODE_TRANSLATION);
    ASSERT_NE(to_wide(CP_UTF8, 0, bytes).find(u'\uFFFD'), std::u16string::npos);
  }
  EXPECT_GT(refused, 1000);
}

TEST_F(CodePagesTest, EachMaximalBadPartGivesOneReplacement) {
  const struct {
    const char* bytes;
    const char16_t* wide_text;
  } rows[] = {{"a\xFFz", u"a\uFFFDz"},
              {"\xE2\x82", u"\uFFFD"},
              {"\xE2\x82z", u"\uFFFDz"},
              {"\xF0\x9F\x8E\xF0\x9F\x8E\xB5", u"\uFFFD\U0001F3B5"},
              {"\xC0\x80", u"\uFFFD\uFFFD"},
              {"\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},
              {"\xF5\x80\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},
              {"\x80\xC3", u"\uFFFD\uFFFD"}};
  for (const auto& row : rows) EXPECT_EQ(to_wide(CP_UTF8, 0, row.bytes), row.wide_text) << row.bytes;
  EXPECT_EQ(to_bytes(CP_UTF8, 0, {u'a', 0xD800, u'b', 0xDC00}),
            "a\xEF\xBF\xBD"
            "b\xEF\xBF\xBD");
}

// The peer has no character for five bytes; the platform maps them to the control characters of their number.
TEST_F(CodePagesTest, Windows1252MatchesThePeer) {
  for (int byte = 1; byte < 256; ++byte) {
    const std::string bytes(1, static_cast<char>(byte));
    std::u16string expected;
    if (!peer_convert("CP1252", "UTF-16LE", bytes, expected)) expected = static_cast<char16_t>(byte);
    EXPECT_EQ(to_wide(CP_ACP, MB_ERR_INVALID_CHARS, bytes), expected) << byte;
    EXPECT_EQ(to_bytes(CP_ACP, 0, expected), bytes) << byte;
  }
  EXPECT_EQ(to_wide(CP_OEMCP, MB_PRECOMPOSED, "\x80"), u"\u20AC");
}

TEST_F(CodePagesTest, WhatThePageLacksBecomesTheDefault) {
  const struct {
    const char16_t* text;
    LPCSTR fallback;
    const char* bytes;
    BOOL used;
  } rows[] = {{u"a\u0416\U0001F3B5", "#", "a##", TRUE},
              {u"a\u0416", nullptr, "a?", TRUE},
              {u"a", nullptr, "a", FALSE}};
  for (const auto& row : rows) {
    BOOL used = !row.used;
    char bytes[8] = {};
    EXPECT_NE(WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, row.text, -1, bytes, 8, row.fallback, &used),
              0);
    EXPECT_STREQ(bytes, row.bytes);
    EXPECT_EQ(used, row.used);
  }
}

TEST_F(CodePagesTest, TheTerminatorIsCountedOnlyWhenItIsSearched) {
  WCHAR wide_text[8];
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "ab", -1, nullptr, 0), 3);
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "ab", -1, wide_text, 8), 3);
  EXPECT_EQ(wide_text[2], 0);
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "ab", 2, wide_text, 8), 2);
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "a\0b", 3, wide_text, 8), 3) << "a NUL inside is a character";
  EXPECT_EQ(GetLastError(), kUntouched);
  // A pair that does not fit is not split.
  wide_text[1] = u'~';
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "a\xF0\x9F\x8E\xB5", 5, wide_text, 2), 0);
  EXPECT_EQ(wide_text[1], u'~');
}

TEST_F(CodePagesTest, BadArgumentsAreRefused) {
  WCHAR wide_text[8];
  char bytes[8];
  const struct {
    UINT page;
    DWORD flags;
    LPCSTR source;
    int count;
    LPWSTR target;
    int size;
    DWORD error;
  } widen[] = {{CP_UTF8, 0, "a", 0, wide_text, 8, ERROR_INVALID_PARAMETER},
               {CP_UTF8, 0, "a", -2, wide_text, 8, ERROR_INVALID_PARAMETER},
               {CP_UTF8, 0, nullptr, -1, wide_text, 8, ERROR_INVALID_PARAMETER},
               {CP_UTF8, 0, "a", -1, nullptr, 8, ERROR_INVALID_PARAMETER},
               {CP_UTF8, 0, "a", -1, wide_text, -1, ERROR_INVALID_PARAMETER},
               {437, 0, "a", -1, wide_text, 8, ERROR_INVALID_PARAMETER},
               {CP_UTF8, 0, reinterpret_cast<char*>(wide_text), 2, wide_text, 8, ERROR_INVALID_PARAMETER},
               {CP_UTF8, MB_PRECOMPOSED, "a", -1, wide_text, 8, ERROR_INVALID_FLAGS}};
  for (const auto& row : widen) {
    EXPECT_EQ(MultiByteToWideChar(row.page, row.flags, row.source, row.count, row.target, row.size), 0);
    EXPECT_EQ(GetLastError(), row.error) << &row - widen;
  }
  BOOL used = FALSE;
  const struct {
    UINT page;
    DWORD flags;
    LPCSTR fallback;
    LPBOOL used;
    DWORD error;
  } narrow[] = {{CP_UTF8, 0, "?", nullptr, ERROR_INVALID_PARAMETER},
                {CP_UTF8, 0, nullptr, &used, ERROR_INVALID_PARAMETER},
                {437, 0, nullptr, nullptr, ERROR_INVALID_PARAMETER},
                {CP_UTF8, WC_NO_BEST_FIT_CHARS, nullptr, nullptr, ERROR_INVALID_FLAGS}};
  for (const auto& row : narrow) {
    EXPECT_EQ(WideCharToMultiByte(row.page, row.flags, u"ab", -1, bytes, 8, row.fallback, row.used), 0);
    EXPECT_EQ(GetLastError(), row.error) << &row - narrow;
  }
}

}  // namespace

}  // namespace zdr::platform::test
