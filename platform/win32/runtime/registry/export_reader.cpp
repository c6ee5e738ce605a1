// Reads the registry from text. Whatever an editor could not have written is an error, so that a damaged file
// is noticed before it is replaced.
#include <algorithm>
#include <cstring>
#include <utility>

#include "platform/win32/runtime/registry/export_encoding.h"
#include "platform/win32/runtime/registry/export_text.h"
#include "platform/win32/runtime/text/windows_1252.h"
#include "platform/win32/win32_registry.h"

namespace zdr::platform {

namespace {

bool is_blank(char16_t unit) noexcept {
  return unit == u' ' || unit == u'\t';
}
bool is_line_end(char16_t unit) noexcept {
  return unit == u'\n' || unit == u'\r';
}

std::vector<BYTE> utf16_bytes(std::u16string_view text) {
  std::vector<BYTE> bytes(text.size() * sizeof(char16_t));
  if (!text.empty()) std::memcpy(bytes.data(), text.data(), bytes.size());
  return bytes;
}

int hex_digit(char16_t unit) noexcept {
  if (unit >= u'0' && unit <= u'9') return unit - u'0';
  const char16_t lower = fold_case(unit);
  return lower >= u'a' && lower <= u'f' ? lower - u'a' + 10 : -1;
}

// One pass over the text. A function that returns false has set reason_ and fault_at_.
class ExportReader {
 public:
  ExportReader(std::u16string_view text, RegistryKey& top) noexcept : text_(text), top_(top) {}

  bool read();
  const char* reason() const noexcept { return reason_; }
  size_t position() const noexcept { return fault_at_; }

 private:
  bool read_header();
  bool read_line();
  bool read_key();
  bool enter_key(std::u16string_view path_text, bool remove);
  bool remove_keys(const KeyPath& path);
  bool count_entries(size_t made) noexcept;
  bool read_value();
  bool read_data(std::u16string& name);
  bool read_text(std::u16string& text);
  size_t length_of_text() const noexcept;
  bool read_number(RegistryValue& value);
  bool read_bytes(RegistryValue& value);
  bool read_hexadecimal(uint32_t& number);
  bool read_byte_list(std::vector<BYTE>& bytes);
  bool skip_continuation();
  bool read_line_end();

  bool fail(const char* reason, size_t at) noexcept {
    reason_ = reason;
    fault_at_ = at;
    return false;
  }
  bool fail(const char* reason) noexcept { return fail(reason, position_); }
  bool at_end() const noexcept { return position_ == text_.size(); }
  char16_t peek() const noexcept { return at_end() ? u'\0' : text_[position_]; }
  bool take(char16_t unit) noexcept {
    if (peek() != unit) return false;
    ++position_;
    return true;
  }
  bool take(std::u16string_view word) noexcept {
    if (!text_.substr(position_).starts_with(word)) return false;
    position_ += word.size();
    return true;
  }
  void skip_blanks() noexcept {
    while (is_blank(peek())) ++position_;
  }
  std::u16string_view take_rest_of_line() noexcept {
    const size_t start = position_;
    while (!at_end() && !is_line_end(peek())) ++position_;
    return text_.substr(start, position_ - start);
  }

  std::u16string_view text_;
  RegistryKey& top_;
  size_t position_ = 0;
  RegistryKey* key_ = nullptr;  // of the values that follow
  size_t entries_ = 0;          // made so far
  bool old_form_ = false;       // REGEDIT4: text in hexadecimal has one byte a character
  const char* reason_ = nullptr;
  size_t fault_at_ = 0;
};

bool ExportReader::read() {
  if (const size_t nul = text_.find(u'\0'); nul != std::u16string_view::npos) return fail("a NUL", nul);
  if (text_.find_first_not_of(u" \t\r\n") == std::u16string_view::npos) return true;
  if (!read_header()) return false;
  while (!at_end()) {
    if (!read_line()) return false;
  }
  return true;
}

bool ExportReader::read_header() {
  std::u16string_view line = take_rest_of_line();
  while (!line.empty() && is_blank(line.back())) line.remove_suffix(1);
  old_form_ = line == kOldExportHeader;
  return old_form_ || line == kExportHeader || fail("not the first line of a registry file", 0);
}

bool ExportReader::read_line() {
  skip_blanks();
  if (at_end()) return true;
  switch (peek()) {
    case u'\r':
    case u'\n':
      ++position_;
      return true;
    case u';':
      take_rest_of_line();
      return true;
    case u'[':
      return read_key();
    case u'@':
    case u'"':
      return read_value();
    default:
      return fail("neither a key nor a value");
  }
}

bool ExportReader::read_key() {
  const size_t start = position_;
  std::u16string_view line = take_rest_of_line().substr(1);
  // Names of keys may contain brackets; the last one of the line is the closing one.
  const size_t close = line.rfind(u']');
  if (close == std::u16string_view::npos) return fail("a key without its closing bracket", start);
  if (line.substr(close + 1).find_first_not_of(u" \t") != std::u16string_view::npos)
    return fail("text after a key", start);
  line = line.substr(0, close);
  const bool remove = line.starts_with(u'-');
  return enter_key(line.substr(remove ? 1 : 0), remove) || fail(reason_, start);
}

bool ExportReader::enter_key(std::u16string_view path_text, bool remove) {
  const size_t end = std::min(path_text.find(u'\\'), path_text.size());
  KeyPath path{std::u16string(root_name(path_text.substr(0, end)))};
  if (path.front().empty()) return fail("an unknown root");
  if (append_names(path, path_text.substr(std::min(end + 1, path_text.size()))) != NO_ERROR)
    return fail("a bad name of a key");
  // The place of a path below HKEY_CLASSES_ROOT is deeper than the path.
  if (place_for_new_key(path).size() > kDeepestPath) return fail("a key too deep");
  if (remove) return remove_keys(path);
  key_ = find_key(top_, places_of(path).front());
  if (key_ != nullptr) return true;
  const KeyPath place = place_for_new_key(path);
  if (!count_entries(place.size() - existing_levels(top_, place))) return false;
  key_ = &make_key(top_, place);
  return true;
}

bool ExportReader::count_entries(size_t made) noexcept {
  entries_ += made;
  return entries_ <= kMostEntries || fail("more than 100,000 keys and values");
}

bool ExportReader::remove_keys(const KeyPath& path) {
  if (path.size() == 1) return fail("a root cannot be removed");
  for (const KeyPath& place : places_of(path)) remove_key(top_, place);
  key_ = nullptr;
  add_permanent_keys(top_);
  return true;
}

bool ExportReader::read_value() {
  const size_t start = position_;
  if (key_ == nullptr) return fail("a value outside of any key");
  std::u16string name;
  if (!take(u'@') && !read_text(name)) return fail(reason_, start);
  if (name.size() > kLongestValueName) return fail("a name too long", start);
  skip_blanks();
  if (!take(u'=')) return fail("a value without its equals sign", start);
  skip_blanks();
  return (read_data(name) && read_line_end()) || fail(reason_, start);
}

bool ExportReader::read_data(std::u16string& name) {
  if (take(u'-')) {
    key_->values.erase(name);
    return true;
  }
  RegistryValue value;
  if (peek() == u'"') {
    std::u16string text;
    if (!read_text(text)) return false;
    text += u'\0';
    value = {REG_SZ, utf16_bytes(text)};
  } else if (take(u"dword:")) {
    if (!read_number(value)) return false;
  } else if (!take(u"hex") || !read_bytes(value)) {
    return fail(reason_ != nullptr ? reason_ : "data of no known form");
  }
  const bool is_new = key_->values.insert_or_assign(std::move(name), std::move(value)).second;
  return !is_new || count_entries(1);
}

// Text in quotes may span lines: editors write the line ends of a name or text as they are.
bool ExportReader::read_text(std::u16string& text) {
  text.reserve(length_of_text() + 1);  // with a NUL
  for (++position_; !at_end(); ++position_) {
    if (take(u'"')) return true;
    if (peek() == u'\\') {
      ++position_;
      if (peek() != u'\\' && peek() != u'"') return fail("a backslash before neither backslash nor quote");
    }
    text += peek();
  }
  return fail("a text without its closing quote");
}

// At least the length of the text in quotes at the current position.
size_t ExportReader::length_of_text() const noexcept {
  size_t end = position_ + 1;
  while (end < text_.size() && text_[end] != u'"') end += text_[end] == u'\\' ? 2 : 1;
  return end - position_ - 1;
}

bool ExportReader::read_hexadecimal(uint32_t& number) {
  number = 0;
  size_t digits = 0;
  for (; hex_digit(peek()) >= 0 && digits <= 8; ++digits, ++position_) {
    number = number << 4 | static_cast<uint32_t>(hex_digit(peek()));
  }
  return digits >= 1 && digits <= 8;
}

bool ExportReader::read_number(RegistryValue& value) {
  uint32_t number = 0;
  if (!read_hexadecimal(number)) return fail("a number that has not 1 to 8 digits");
  value.type = REG_DWORD;
  value.data.resize(sizeof number);
  std::memcpy(value.data.data(), &number, sizeof number);
  return true;
}

bool ExportReader::read_bytes(RegistryValue& value) {
  value.type = REG_BINARY;
  if (take(u'(') && !(read_hexadecimal(value.type) && take(u')'))) return fail("a bad type of data");
  if (!take(u':')) return fail("data of no known form");
  if (!read_byte_list(value.data)) return false;
  const bool is_text = value.type == REG_SZ || value.type == REG_EXPAND_SZ || value.type == REG_MULTI_SZ;
  if (old_form_ && is_text) {
    std::u16string text;
    for (const BYTE byte : value.data) text += windows_1252_to_unicode(byte);
    value.data = utf16_bytes(text);
    return true;
  }
  for (size_t i = 0; i < value.data.size(); ++i) {
    const size_t place = place_of_byte(value.type, i, value.data.size());
    if (place > i) std::swap(value.data[i], value.data[place]);
  }
  return true;
}

bool ExportReader::read_byte_list(std::vector<BYTE>& bytes) {
  if (!skip_continuation()) return false;
  if (at_end() || is_line_end(peek()) || peek() == u';') return true;
  do {
    if (!skip_continuation()) return false;
    int byte = hex_digit(peek());
    if (byte < 0) return fail("a byte that is not hexadecimal");
    ++position_;
    if (const int low = hex_digit(peek()); low >= 0) {
      byte = byte << 4 | low;
      ++position_;
    }
    bytes.push_back(static_cast<BYTE>(byte));
    if (!skip_continuation()) return false;
  } while (take(u','));
  return true;
}

// Skips blanks, and a backslash with the line end that follows it.
bool ExportReader::skip_continuation() {
  skip_blanks();
  if (!take(u'\\')) return true;
  skip_blanks();
  take(u'\r');
  if (!take(u'\n')) return fail("a backslash that does not end its line");
  skip_blanks();
  return true;
}

bool ExportReader::read_line_end() {
  skip_blanks();
  if (at_end() || is_line_end(peek()) || peek() == u';') return true;
  return fail("text after a value");
}

size_t line_of(std::u16string_view text, size_t position) noexcept {
  size_t line = 1;
  for (const char16_t unit : text.substr(0, position)) line += unit == u'\n' ? 1 : 0;
  return line;
}

}  // namespace

bool read_export(std::string bytes, RegistryKey& top, TextFault& fault) {
  add_permanent_keys(top);
  std::u16string text;
  if (!decode_export(bytes, text)) {
    fault = {line_of(text, text.size()), "a character that is not of the file's encoding"};
    return false;
  }
  bytes = std::string();
  ExportReader reader(text, top);
  if (reader.read()) return true;
  fault = {line_of(text, reader.position()), reader.reason()};
  return false;
}

}  // namespace zdr::platform
