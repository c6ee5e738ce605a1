// Text of any encoding made safe for terminals and JSON, the progress line, and times as users type them.
#include "host/text/decoded_text.h"

#include <gtest/gtest.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <sstream>

#include "host/inspect/field.h"
#include "host/terminal.h"
#include "host/text/time_text.h"

namespace zdr::test {
namespace {

using host::as_bytes;
using namespace std::string_literals;

TEST(DecodedText, IsUtf8ForAnyBytes) {
  const std::tuple<std::string, std::string, bool> kCases[] = {
      {"", "", true},
      {"plain\0\0"s, "plain", true},
      {"\xEF\xBB\xBFmark", "mark", true},
      {"na\xC3\xAFve \xE2\x82\xAC \xF0\x9F\x8E\xB5", "na\u00EFve \u20AC \U0001F3B5", true},
      {"\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF",  // first and last of each
                                                                                    // length
       "\u0080\u07FF\u0800\uFFFF\U00010000\U0010FFFF", true},
      {"\xE9t\xE9", "\uFFFDt\uFFFD", false},
      {"\xC0\x80", "\uFFFD\uFFFD", false},  // overlong
      {"\xE0\x80\xAF", "\uFFFD\uFFFD\uFFFD", false},
      {"\xF0\x8F\xBF\xBF", "\uFFFD\uFFFD\uFFFD\uFFFD", false},
      {"\xED\xA0\x80", "\uFFFD\uFFFD\uFFFD", false},  // a surrogate
      {"\xF4\x90\x80\x80", "\uFFFD\uFFFD\uFFFD\uFFFD", false},
      {"cut \xE2\x82", "cut \uFFFD\uFFFD", false},
      {"\xFE\xFF\0A\x20\xAC\0\0"s, "A\u20AC", true},
      {"\xFF\xFE\x41\0\xAC\x20"s, "A\u20AC", true},
      {"\xFE\xFF\xD8\x3C\xDF\xB5", "\U0001F3B5", true},
      {"\xFE\xFF\xD8\x3C\0A"s,
       "\uFFFD"
       "A",
       false},
      {"\xFE\xFF\xD8\x3C", "\uFFFD", false},
      {"\xFE\xFF\xDF\xB5", "\uFFFD", false},
      {"\xFE\xFF\0A\0"s, "A", true},  // half a terminator
      {"\xFE\xFF\0AB"s, "A\uFFFD", false},
  };
  for (const auto& [bytes, utf8, is_valid] : kCases) {
    const host::DecodedText text = host::decode_text(as_bytes(bytes));
    EXPECT_EQ(text.utf8, utf8);
    EXPECT_EQ(text.is_valid, is_valid) << utf8;
  }
}

TEST(DecodedText, PrintableTextCannotMoveACursor) {
  EXPECT_EQ(host::printable("a\x1B[2Jb\r\n\x7F\x9B\xC3"), "a\\x1b[2Jb\\x0d\\x0a\\x7f\\x9b\\xc3");
  EXPECT_EQ(host::printable("\xC2\x9B"
                            "1m \u00E9 \u00A0 \u0820"),
            "\\x9b1m \u00E9 \u00A0 \u0820")
      << "U+009B begins an escape sequence too";
}

TEST(DecodedText, LanguagesAndTypesAreReadable) {
  const std::pair<uint32_t, const char*> kLanguages[] = {
      {0x15C7, "eng"}, {0x55C4, "und"},    {0x0421, "aaa"},    {0x6B5A, "zzz"},
      {0, "0x0000"},   {0x95C7, "0x95c7"}, {0x15E0, "0x15e0"}, {0x15DB, "0x15db"}};
  for (const auto& [packed, text] : kLanguages) EXPECT_EQ(host::language_text(packed), text);
  EXPECT_EQ(host::type_text("\xA9"
                            "nam"),
            "\u00A9nam");
  EXPECT_EQ(host::from_fixed(0xFFFF8000), -0.5);
}

TEST(TextView, LongTextIsCutBetweenCharactersAndInvalidTextHasItsBytes) {
  const std::string euros = "\xE2\x82\xAC\xE2\x82\xAC\xE2\x82\xAC";
  const std::string wide = "\xFE\xFF\0A\0B"s;
  const std::string bad = "\xFFno";
  const std::tuple<std::string, size_t, size_t, std::string> kCases[] = {
      {"yes", SIZE_MAX, SIZE_MAX, R"({"t":"yes"})"},
      {bad, SIZE_MAX, SIZE_MAX, "{\"t\":\"\uFFFDno\",\"t_hex\":\"ff6e6f\"}"},
      {euros, 2, SIZE_MAX, R"({"t":"","t_bytes":9})"},
      {euros, 3, SIZE_MAX, "{\"t\":\"\u20AC\",\"t_bytes\":9}"},
      {euros, 5, SIZE_MAX, "{\"t\":\"\u20AC\",\"t_bytes\":9}"},
      {euros, 9, SIZE_MAX, "{\"t\":\"\u20AC\u20AC\u20AC\"}"},
      {wide, 5, SIZE_MAX, R"({"t":"A","t_bytes":6})"},
      {wide, 6, SIZE_MAX, R"({"t":"AB"})"},
      // Stepping back to the beginning of a character ends after the length of the longest one.
      {std::string(9, '\x80'), 5, 2, "{\"t\":\"\uFFFD\uFFFD\",\"t_bytes\":9,\"t_hex\":\"8080\"}"},
  };
  for (const auto& [bytes, limit, hex_limit, expected] : kCases) {
    std::ostringstream out;
    host::JsonWriter json(out, host::JsonWriter::Layout::kOneLine);
    json.begin_object();
    const host::Bytes front = as_bytes(bytes).first(host::front_length(as_bytes(bytes), limit));
    host::add_field(json, {"t", host::TextView{front, bytes.size(), hex_limit}});
    json.end_object();
    EXPECT_EQ(out.str(), expected + "\n") << limit;
  }
}

// Draws a line on a terminal until it has got so many bytes, and returns them.
std::string draw_progress(const char* label, unsigned short columns, int wanted) {
  int terminal = -1;
  int end_of_program = -1;
  const winsize size{24, columns, 0, 0};
  EXPECT_EQ(openpty(&terminal, &end_of_program, nullptr, nullptr, &size), 0);
  const int before = dup(STDERR_FILENO);
  dup2(end_of_program, STDERR_FILENO);
  setenv("TERM", "xterm", 1);
  std::string drawn(static_cast<size_t>(wanted), ' ');
  {
    host::ProgressLine line(true);
    for (int bytes = 0; bytes < wanted; ioctl(terminal, FIONREAD, &bytes)) line.update(label, 1, 2);
    EXPECT_EQ(read(terminal, drawn.data(), drawn.size()), wanted);
  }
  dup2(before, STDERR_FILENO);
  for (const int file : {before, terminal, end_of_program}) close(file);
  return drawn;
}

// Three lines, of 24 to 34 bytes each, take the half second before the first and two tenths of a second.
TEST(ProgressLine, IsDrawnAtMostTenTimesASecondAndFitsTheTerminal) {
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_NE(draw_progress("clip", 80, 70).find("clip: 50%, 0:00:0"), std::string::npos);
  EXPECT_GT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(650));
  const std::string narrow = "\r\x1B[Ka lon...a file: 50%\r";
  EXPECT_EQ(draw_progress("a long name of a file", 20, static_cast<int>(narrow.size())), narrow);
}

TEST(TimeText, ReadsSecondsAndClockTimes) {
  const std::pair<const char*, int64_t> kTimes[] = {
      {"0", 0},
      {"12.5", 125'000'000},
      {".25", 2'500'000},
      {"7.", 70'000'000},
      {"1.00000019", 10'000'001},  // ignores digits below 100 ns
      {"0:00:01.5", 15'000'000},
      {"1:02:03.004", 37'230'040'000},
      {"100:00:00", 3'600'000'000'000},
      {"900000000000", 9'000'000'000'000'000'000},
      {"250000000:00:00", 9'000'000'000'000'000'000},
  };
  for (const auto& [text, units] : kTimes) EXPECT_EQ(host::parse_time(text), units) << text;
  for (const char* text : {"", ".", "-1", "1e3", " 1", "1:02", "1:2:3:4", "0:60:00", "0:00:60", "0:000:01",
                           "::", "0:0:", "1.x", "99999999999999999999", "900000000001", "250000001:00:00"}) {
    EXPECT_EQ(host::parse_time(text), std::nullopt) << text;
  }
  for (int64_t ms : {0LL, 1LL, 59'999LL, 60'000LL, 3'599'999LL, 3'600'000LL, 450'000'000LL}) {
    const int64_t units = ms * host::kUnitsPerMillisecond;
    EXPECT_EQ(host::parse_time(host::format_time(units)), units);
  }
  EXPECT_EQ(host::format_time(-15'000'000), "-0:00:01.500");
}

}  // namespace
}  // namespace zdr::test
