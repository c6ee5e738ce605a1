// Texts of files in any encoding, made fit for terminals and JSON; times as they are typed.
#include "host/decoded_text.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "host/time_text.h"

namespace zdr::host {
namespace {

std::span<const uint8_t> bytes_of(std::string_view text) {
  return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}

TEST(DecodedText, IsUtf8WhateverTheBytesAre) {
  const std::vector<std::tuple<std::string, std::string, bool>> cases = {
      {"", "", true},
      {std::string("plain\0\0", 7), "plain", true},
      {"\xEF\xBB\xBF"
       "mark",
       "mark", true},
      {"na\xC3\xAFve \xE2\x82\xAC \xF0\x9F\x8E\xB5", "na\u00EFve \u20AC \U0001F3B5", true},
      {"\xE9t\xE9", "\uFFFDt\uFFFD", false},
      {"\xC0\x80", "\uFFFD\uFFFD", false},  // overlong
      {"\xE0\x80\xAF", "\uFFFD\uFFFD\uFFFD", false},
      {"\xED\xA0\x80", "\uFFFD\uFFFD\uFFFD", false},  // a surrogate
      {"\xF4\x90\x80\x80", "\uFFFD\uFFFD\uFFFD\uFFFD", false},
      {"cut \xE2\x82", "cut \uFFFD\uFFFD", false},
      {std::string("\xFE\xFF\0A\x20\xAC\0\0", 8), "A\u20AC", true},
      {std::string("\xFF\xFE"
                   "A\0\xAC\x20",
                   6),
       "A\u20AC", true},
      {std::string("\xFE\xFF\xD8\x3C\xDF\xB5", 6), "\U0001F3B5", true},
      {std::string("\xFE\xFF\xD8\x3C\0A", 6),
       "\uFFFD"
       "A",
       false},
      {std::string("\xFE\xFF\xDF\xB5", 4), "\uFFFD", false},
      {std::string("\xFE\xFF\0A\0", 5), "A", true},  // half a terminator
      {std::string("\xFE\xFF\0AB", 5), "A\uFFFD", false},
  };
  for (const auto& [bytes, utf8, is_valid] : cases) {
    const DecodedText text = decode_text(bytes_of(bytes));
    EXPECT_EQ(text.utf8, utf8);
    EXPECT_EQ(text.is_valid, is_valid) << utf8;
  }
}

TEST(DecodedText, CannotMoveACursor) {
  EXPECT_EQ(printable("a\x1B[2Jb\r\n\x7F"), "a\\x1b[2Jb\\x0d\\x0a\\x7f");
  EXPECT_EQ(printable("\xC2\x9B"
                      "1m \u00E9 \u00A0"),
            "\\x9b1m \u00E9 \u00A0")
      << "U+009B begins a sequence too";
}

TEST(DecodedText, LanguagesAndTypes) {
  EXPECT_EQ(language_text(0x15C7), "eng");
  EXPECT_EQ(language_text(0x55C4), "und");
  EXPECT_EQ(language_text(0), "0x0000");
  EXPECT_EQ(language_text(0x95C7), "0x95c7");
  EXPECT_EQ(type_text("\xA9"
                      "nam"),
            "\u00A9nam");
}

TEST(DecodedText, InvalidTextKeepsItsBytesInJson) {
  nlohmann::ordered_json json;
  add_text(json, "good", bytes_of("yes"));
  add_text(json, "bad", bytes_of("\xFFno"));
  EXPECT_EQ(json.dump(), R"({"good":"yes","bad":")"
                         "\uFFFD"
                         R"(no","bad_hex":"ff6e6f"})");
}

TEST(DecodedText, LongTextIsCutBetweenCharactersAndTellsItsLength) {
  const std::string euros = "\xE2\x82\xAC\xE2\x82\xAC\xE2\x82\xAC";
  const std::string wide("\xFE\xFF\0A\0B", 6);
  for (const size_t limit : {3u, 4u, 5u}) {
    nlohmann::ordered_json json;
    add_text(json, "t", bytes_of(euros), limit);
    EXPECT_EQ(json.dump(), "{\"t\":\"\u20AC\",\"t_bytes\":9}") << limit;
  }
  nlohmann::ordered_json json;
  add_text(json, "wide", bytes_of(wide), 5);
  add_text(json, "whole", bytes_of(wide), 6);
  add_text(json, "bad", bytes_of(std::string(9, '\x80')), 5, 2);
  EXPECT_EQ(json["wide"], "A");
  EXPECT_EQ(json["whole"], "AB");
  EXPECT_EQ(json["bad_hex"], "8080");
}

TEST(TimeText, ReadsSecondsAndClockTimes) {
  const std::pair<const char*, int64_t> kTimes[] = {
      {"0", 0},
      {"12.5", 125'000'000},
      {".25", 2'500'000},
      {"7.", 70'000'000},
      {"1.00000019", 10'000'001},  // digits below 100 ns are cut off
      {"0:00:01.5", 15'000'000},
      {"1:02:03.004", 37'230'040'000},
      {"100:00:00", 3'600'000'000'000},
  };
  for (const auto& [text, units] : kTimes) EXPECT_EQ(parse_time(text), units) << text;
  for (const char* text : {"", ".", "-1", "1e3", " 1", "1:02", "1:2:3:4", "0:60:00", "0:00:60", "0:000:01",
                           "::", "99999999999999999999"}) {
    EXPECT_EQ(parse_time(text), std::nullopt) << text;
  }
  for (int64_t ms : {0LL, 1LL, 59'999LL, 60'000LL, 3'599'999LL, 3'600'000LL, 450'000'000LL}) {
    EXPECT_EQ(parse_time(format_time(ms * kUnitsPerMillisecond)), ms * kUnitsPerMillisecond);
  }
  EXPECT_EQ(format_time(-15'000'000), "-0:00:01.500");
}

}  // namespace
}  // namespace zdr::host
