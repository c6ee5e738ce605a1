// Writes the registry as text. Data that quotes cannot hold is written in hexadecimal, so that every value is
// read back byte for byte.
#include <array>
#include <cstdio>
#include <cstring>
#include <optional>
#include <utility>

#include "platform/win32/runtime/registry/export_encoding.h"
#include "platform/win32/runtime/registry/export_text.h"
#include "platform/win32/utf.h"
#include "platform/win32/win32_registry.h"

namespace zdr::platform {

namespace {

constexpr size_t kLineWidth = 80;  // where editors break long values

// Counts what is written, and keeps it if there is a text to append it to.
class ExportSink {
 public:
  ExportSink(const ExportLimits& limits, std::string* text) noexcept : limits_(limits), text_(text) {}

  void add(std::string_view part) {
    bytes_ += part.size();
    column_ += part.size();
    if (text_ != nullptr) text_->append(part);
  }
  void start_line() noexcept { column_ = 0; }
  void count_entry() noexcept { ++entries_; }

  size_t column() const noexcept { return column_; }
  size_t bytes() const noexcept { return bytes_; }
  bool fits() const noexcept { return bytes_ <= limits_.bytes && entries_ <= limits_.entries; }

 private:
  const ExportLimits limits_;
  std::string* const text_;
  size_t bytes_ = 0;
  size_t entries_ = 0;
  size_t column_ = 0;  // since start_line
};

void append_quoted(ExportSink& out, std::u16string_view text) {
  out.add("\"");
  while (!text.empty()) {
    const DecodedPoint decoded = decode_utf16(text);
    if (decoded.point == U'"' || decoded.point == U'\\') out.add("\\");
    char encoded[4];
    out.add({encoded, encode_utf8(decoded.point, encoded)});
    text.remove_prefix(decoded.units);
  }
  out.add("\"");
}

bool fits_quotes(std::u16string_view text) noexcept {
  while (!text.empty()) {
    const DecodedPoint decoded = decode_utf16(text);
    const char32_t point = decoded.point;
    if (!decoded.well_formed || point == 0 || point == U'\r' || point == U'\n') return false;
    text.remove_prefix(decoded.units);
  }
  return true;
}

// The text of a value without its NUL, if it can be written in quotes.
std::optional<std::u16string> quotable_text(const RegistryValue& value) {
  const size_t bytes = value.data.size();
  if (value.type != REG_SZ || bytes < 2 || bytes % 2 != 0) return std::nullopt;
  std::u16string text(bytes / 2, u'\0');
  std::memcpy(text.data(), value.data.data(), bytes);
  if (text.back() != 0) return std::nullopt;
  text.pop_back();
  return fits_quotes(text) ? std::optional(std::move(text)) : std::nullopt;
}

std::string hexadecimal(const char* format, unsigned value) {
  std::array<char, 24> text{};
  std::snprintf(text.data(), text.size(), format, value);
  return text.data();
}

void append_bytes(ExportSink& out, const RegistryValue& value) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  out.add(value.type == REG_BINARY ? "hex:" : hexadecimal("hex(%x):", value.type));
  for (size_t i = 0; i < value.data.size(); ++i) {
    if (out.column() + 4 > kLineWidth && out.column() > 2) {
      out.add("\\\n");
      out.start_line();
      out.add("  ");
    }
    const BYTE byte = value.data[place_of_byte(value.type, i, value.data.size())];
    const char digits[] = {kDigits[byte >> 4], kDigits[byte & 15], ','};
    out.add({digits, i + 1 == value.data.size() ? 2u : 3u});
  }
}

void append_value(ExportSink& out, const std::u16string& name, const RegistryValue& value) {
  out.count_entry();
  out.start_line();
  if (name.empty()) {
    out.add("@");
  } else {
    append_quoted(out, name);
  }
  out.add("=");
  if (const auto text = quotable_text(value)) {
    append_quoted(out, *text);
  } else if (value.type == REG_DWORD && value.data.size() == sizeof(uint32_t)) {
    uint32_t number = 0;
    std::memcpy(&number, value.data.data(), sizeof number);
    out.add(hexadecimal("dword:%08x", number));
  } else {
    append_bytes(out, value);
  }
  out.add("\n");
}

// Recurses at most kDeepestPath levels. Ends early when the limits are passed.
void append_key(ExportSink& out, KeyPath& path, std::string& written_path, const RegistryKey& key) {
  if (!key.values.empty() || !is_permanent(path)) {
    out.count_entry();
    out.add("\n[");
    out.add(written_path);
    out.add("]\n");
    for (const auto& [name, value] : key.values) {
      if (out.fits()) append_value(out, name, value);
    }
  }
  for (const auto& [name, child] : key.children) {
    if (!out.fits()) return;
    const size_t length = written_path.size();
    path.push_back(name);
    written_path += "\\" + to_utf8(name);
    append_key(out, path, written_path, *child);
    written_path.resize(length);
    path.pop_back();
  }
}

void append_tree(ExportSink& out, const RegistryKey& top) {
  out.add(to_utf8(kExportHeader) + "\n");
  for (const auto& [name, root] : top.children) {
    KeyPath path{name};
    std::string written_path = to_utf8(name);
    append_key(out, path, written_path, *root);
  }
}

}  // namespace

bool export_fits(const RegistryKey& top, const ExportLimits& limits, size_t& bytes) {
  ExportSink counter(limits, nullptr);
  append_tree(counter, top);
  bytes = counter.bytes();
  return counter.fits();
}

bool write_export(const RegistryKey& top, const ExportLimits& limits, std::string& text) {
  size_t bytes = 0;
  if (!export_fits(top, limits, bytes)) return false;
  text.reserve(bytes);
  ExportSink writer(limits, &text);
  append_tree(writer, top);
  return true;
}

}  // namespace zdr::platform
