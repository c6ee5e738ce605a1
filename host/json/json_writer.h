// Writes a JSON document to a stream piece by piece: no copy of the document is in memory, and no piece can
// fail for lack of memory.
#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>

#include "host/text/bytes.h"

namespace zdr::host {

// Objects and arrays may be nested 64 levels deep. The calls must make a valid document: in an object, a key
// precedes each value, and no key occurs twice.
class JsonWriter {
 public:
  enum class Layout { kIndented, kOneLine };

  // `out` must outlive the writer. Each document ends with a line break and is passed on at once.
  explicit JsonWriter(std::ostream& out, Layout layout = Layout::kIndented) : out_(out), layout_(layout) {}
  // Closes the objects and arrays that are open, so that an exception leaves no broken document.
  ~JsonWriter();
  JsonWriter(const JsonWriter&) = delete;
  JsonWriter& operator=(const JsonWriter&) = delete;

  void begin_object() { begin('{'); }
  void end_object() { end('}'); }
  void begin_array() { begin('['); }
  void end_array() { end(']'); }
  void begin_object(std::string_view name) { (key(name), begin_object()); }
  void begin_array(std::string_view name) { (key(name), begin_array()); }

  // An array of numbers or short texts, which is on one line in either layout.
  void begin_row(std::string_view name) {
    begin_array(name);
    is_row_ = true;
  }

  // The key is `name` followed by `suffix`.
  void key(std::string_view name, std::string_view suffix = {});
  // Control characters become \u00XX, and bytes that are not UTF-8 become U+FFFD.
  void value(std::string_view text) {
    begin_text();
    put_text(text);
    end_text();
  }
  void value(const char* text) { value(std::string_view(text)); }
  void value(const std::string& text) { value(std::string_view(text)); }
  void value(std::nullptr_t /*null*/) { put_token("null"); }
  void value(bool truth) { put_token(truth ? "true" : "false"); }
  void value(double number);  // null if it is not finite
  void value(std::signed_integral auto number) { put_number(int64_t{number}); }
  void value(std::unsigned_integral auto number) { put_number(uint64_t{number}); }
  // Write a text in pieces, each of whole characters.
  void begin_text();
  void put_text(std::string_view piece);
  void end_text() { put('"'); }
  void put_hex(Bytes bytes);  // writes a piece of hexadecimal digits
  void hex_value(Bytes bytes) {
    begin_text();
    put_hex(bytes);
    end_text();
  }

  template <class Value>
  void member(std::string_view name, const Value& content) {
    key(name);
    value(content);
  }

 private:
  void begin(char bracket);
  void end(char bracket);
  void before_value();  // the comma and the new line, unless a key precedes the value
  void new_line();
  void put(char character);
  void put(std::string_view text);
  void put_token(std::string_view token);
  void put_number(int64_t number);
  void put_number(uint64_t number);
  void flush();

  std::ostream& out_;
  Layout layout_;
  std::array<char, 4096> buffer_;
  size_t used_ = 0;
  // The lowest bit is that of the innermost level.
  uint64_t is_object_ = 0;
  uint64_t has_members_ = 0;
  unsigned depth_ = 0;
  bool after_key_ = false;
  bool is_row_ = false;  // the innermost level
};

// The shortest digits that are read back as `number`, with a point or an exponent. `digits` is their storage.
using NumberDigits = std::array<char, 32>;
std::string_view format_number(double number, NumberDigits& digits);

// A JSON string, with its quotes.
std::string json_string(std::string_view text);

}  // namespace zdr::host
