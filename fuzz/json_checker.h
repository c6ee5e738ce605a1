// A strict reader of JSON (RFC 8259) that keeps nothing: one value, in UTF-8, in which no object has a key
// twice.
#pragma once

#include <set>
#include <string>
#include <string_view>

namespace zdr::fuzz {

class JsonChecker {
 public:
  explicit JsonChecker(std::string_view text) : rest_(text) {}

  bool is_document() {
    skip_blanks();
    if (!read_value(0)) return false;
    skip_blanks();
    return rest_.empty();
  }

 private:
  static constexpr int kDeepest = 100;

  char peek() const { return rest_.empty() ? '\0' : rest_.front(); }
  bool take(char expected) { return take(std::string_view(&expected, 1)); }
  bool take(std::string_view word) {
    if (!rest_.starts_with(word)) return false;
    rest_.remove_prefix(word.size());
    return true;
  }
  // Takes one of the characters; they are ASCII.
  bool take_any(std::string_view characters) {
    if (rest_.empty() || characters.find(rest_.front()) == std::string_view::npos) return false;
    rest_.remove_prefix(1);
    return true;
  }
  void skip_blanks() {
    while (take_any(" \t\r\n")) continue;
  }

  bool read_value(int depth) {
    if (depth > kDeepest) return false;
    std::string ignored;
    switch (peek()) {
      case '{':
        return read_object(depth);
      case '[':
        return read_array(depth);
      case '"':
        return read_string(ignored);
      default:
        return take("true") || take("false") || take("null") || read_number();
    }
  }

  bool read_object(int depth) {
    take('{');
    skip_blanks();
    if (take('}')) return true;
    std::set<std::string> keys;
    do {
      skip_blanks();
      std::string key;
      if (!read_string(key) || !keys.insert(key).second) return false;
      skip_blanks();
      if (!take(':')) return false;
      skip_blanks();
      if (!read_value(depth + 1)) return false;
      skip_blanks();
    } while (take(','));
    return take('}');
  }

  bool read_array(int depth) {
    take('[');
    skip_blanks();
    if (take(']')) return true;
    do {
      skip_blanks();
      if (!read_value(depth + 1)) return false;
      skip_blanks();
    } while (take(','));
    return take(']');
  }

  bool read_digits() {
    bool any = false;
    while (take_any("0123456789")) any = true;
    return any;
  }
  bool read_number() {
    take('-');
    if (!take('0') && (peek() == '0' || !read_digits())) return false;
    if (take('.') && !read_digits()) return false;
    if (!take_any("eE")) return true;
    take_any("+-");
    return read_digits();
  }

  // `text` gets the characters as they are written.
  bool read_string(std::string& text) {
    if (!take('"')) return false;
    const std::string_view begin = rest_;
    while (!take('"')) {
      if (!(take('\\') ? read_escape() : read_character())) return false;
    }
    text = begin.substr(0, begin.size() - rest_.size());
    return true;
  }
  bool read_escape() {
    if (take_any("\"\\/bfnrt")) return true;
    if (!take('u')) return false;
    const bool is_surrogate = (rest_.starts_with('d') || rest_.starts_with('D')) &&
                              rest_.substr(1).find_first_of("89abcdefABCDEF") == 0;
    for (int i = 0; i < 4; ++i) {
      if (!take_any("0123456789abcdefABCDEF")) return false;
    }
    return !is_surrogate;
  }
  // Table 3-7 of Unicode 15.
  bool read_character() {
    const auto byte = [this](size_t at) {
      return static_cast<uint8_t>(at < rest_.size() ? rest_[at] : '\0');
    };
    const uint8_t first = byte(0);
    if (first < 0x20) return false;
    const size_t length = first < 0x80 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
    if (length > 1 && (first < 0xC2 || first > 0xF4)) return false;
    const bool is_bad_second = (first == 0xE0 && byte(1) < 0xA0) || (first == 0xED && byte(1) > 0x9F) ||
                               (first == 0xF0 && byte(1) < 0x90) || (first == 0xF4 && byte(1) > 0x8F);
    for (size_t i = 1; i < length; ++i) {
      if (byte(i) >> 6 != 2) return false;
    }
    rest_.remove_prefix(length);
    return !is_bad_second;
  }

  std::string_view rest_;
};

inline bool is_json(std::string_view text) {
  return JsonChecker(text).is_document();
}

}  // namespace zdr::fuzz
