// Writes tokens to a buffer of fixed size and tracks the open levels as bits.
#include "host/json/json_writer.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <ostream>

#include "host/text/decoded_text.h"

namespace zdr::host {
namespace {

constexpr std::string_view kHexDigits = "0123456789abcdef";
constexpr size_t kIndent = 2;

// "\n" or "\u001b"; empty for characters that stand for themselves. DEL and U+0080 to U+009F are escaped
// because terminals obey them.
std::string_view escape_of(char32_t code, std::array<char, 6>& storage) {
  switch (code) {
    case '"':
      return "\\\"";
    case '\\':
      return "\\\\";
    case '\b':
      return "\\b";
    case '\f':
      return "\\f";
    case '\n':
      return "\\n";
    case '\r':
      return "\\r";
    case '\t':
      return "\\t";
    default:
      break;
  }
  if (code >= 0xA0 || (code >= 0x20 && code < 0x7F)) return {};
  storage = {'\\', 'u', '0', '0', kHexDigits[code >> 4], kHexDigits[code & 15]};
  return {storage.data(), storage.size()};
}

// Calls `put` with the parts of an escaped text.
template <class Put>
void escape(std::string_view text, Put put) {
  Bytes rest = as_bytes(text);
  while (!rest.empty()) {
    const Bytes before = rest;
    char32_t code = 0;
    std::array<char, 6> storage{};
    if (!take_character(rest, code)) {
      put("\xEF\xBF\xBD");  // U+FFFD
    } else if (const std::string_view escaped = escape_of(code, storage); !escaped.empty()) {
      put(escaped);
    } else {
      put(text.substr(text.size() - before.size(), before.size() - rest.size()));
    }
  }
}

}  // namespace

JsonWriter::~JsonWriter() {
  while (depth_ > 0) end((is_object_ & 1) != 0 ? '}' : ']');
  flush();
}

void JsonWriter::flush() {
  out_.write(buffer_.data(), static_cast<std::streamsize>(used_));
  used_ = 0;
}

void JsonWriter::put(char character) {
  if (used_ == buffer_.size()) flush();
  buffer_[used_++] = character;
}

void JsonWriter::put(std::string_view text) {
  for (const char character : text) put(character);
}

void JsonWriter::new_line() {
  if (layout_ == Layout::kOneLine || is_row_) return;
  put('\n');
  for (size_t i = 0; i < kIndent * depth_; ++i) put(' ');
}

void JsonWriter::before_value() {
  if (!after_key_ && depth_ > 0) {
    if ((has_members_ & 1) != 0) put(is_row_ && layout_ == Layout::kIndented ? ", " : ",");
    has_members_ |= 1;
    new_line();
  }
  after_key_ = false;
}

void JsonWriter::begin(char bracket) {
  before_value();
  put(bracket);
  is_object_ = is_object_ << 1 | (bracket == '{' ? 1 : 0);
  has_members_ <<= 1;
  ++depth_;
}

void JsonWriter::end(char bracket) {
  if (after_key_) value(nullptr);
  const bool has_members = (has_members_ & 1) != 0;
  is_object_ >>= 1;
  has_members_ >>= 1;
  --depth_;
  if (has_members) new_line();
  is_row_ = false;
  put(bracket);
  if (depth_ > 0) return;
  put('\n');
  flush();
  out_.flush();
}

void JsonWriter::key(std::string_view name, std::string_view suffix) {
  before_value();
  put('"');
  put_text(name);
  put_text(suffix);
  put(layout_ == Layout::kOneLine ? "\":" : "\": ");
  after_key_ = true;
}

void JsonWriter::begin_text() {
  before_value();
  put('"');
}

void JsonWriter::put_text(std::string_view piece) {
  escape(piece, [this](std::string_view part) { put(part); });
}

void JsonWriter::put_hex(Bytes bytes) {
  for (const uint8_t byte : bytes) {
    put(kHexDigits[byte >> 4]);
    put(kHexDigits[byte & 15]);
  }
}

void JsonWriter::value(double number) {
  NumberDigits digits;
  put_token(std::isfinite(number) ? format_number(number, digits) : "null");
}

void JsonWriter::put_token(std::string_view token) {
  before_value();
  put(token);
}

void JsonWriter::put_number(int64_t number) {
  NumberDigits digits;
  put_token({digits.data(), std::to_chars(digits.begin(), digits.end(), number).ptr});
}

void JsonWriter::put_number(uint64_t number) {
  NumberDigits digits;
  put_token({digits.data(), std::to_chars(digits.begin(), digits.end(), number).ptr});
}

std::string_view format_number(double number, NumberDigits& digits) {
  const double size = std::abs(number);
  const bool is_plain = size == 0 || (size >= 1e-4 && size < 1e15);
  const auto format = is_plain ? std::chars_format::fixed : std::chars_format::scientific;
  char* end = std::to_chars(digits.begin(), digits.end() - 2, number, format).ptr;
  if (is_plain && std::find(digits.begin(), end, '.') == end) {
    *end++ = '.';
    *end++ = '0';
  }
  return {digits.data(), end};
}

std::string json_string(std::string_view text) {
  std::string out = "\"";
  escape(text, [&out](std::string_view part) { out += part; });
  return out + "\"";
}

}  // namespace zdr::host
