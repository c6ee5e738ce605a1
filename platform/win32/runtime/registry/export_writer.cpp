// Writes the registry as text. Data that quotes cannot hold is written in hexadecimal, so that every value is
// read back byte for byte.
#include <array>
#include <cstdio>
#include <cstring>

#include "platform/win32/file_names.h"
#include "platform/win32/runtime/registry/export_text.h"
#include "platform/win32/runtime/text/utf.h"
#include "platform/win32/win32_registry.h"

namespace zdr::platform {

namespace {

constexpr size_t kLineWidth = 80;  // where editors break long values

void append_quoted(std::string& out, std::u16string_view text) {
  out += '"';
  for (const char c : utf8_file_name(text)) {
    if (c == '"' || c == '\\') out += '\\';
    out += c;
  }
  out += '"';
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
bool quotable_text(const RegistryValue& value, std::u16string& text) {
  const size_t bytes = value.data.size();
  if (value.type != REG_SZ || bytes < 2 || bytes % 2 != 0) return false;
  text.resize(bytes / 2);
  std::memcpy(text.data(), value.data.data(), bytes);
  if (text.back() != 0) return false;
  text.pop_back();
  return fits_quotes(text);
}

std::string hexadecimal(const char* format, unsigned value) {
  std::array<char, 24> text{};
  std::snprintf(text.data(), text.size(), format, value);
  return text.data();
}

// `line` is the text of the line so far.
void append_bytes(std::string& out, std::string line, const RegistryValue& value) {
  line += value.type == REG_BINARY ? "hex:" : hexadecimal("hex(%x):", value.type);
  for (size_t i = 0; i < value.data.size(); ++i) {
    const bool last = i + 1 == value.data.size();
    if (line.size() + 4 > kLineWidth && line.size() > 2) {
      out += line + "\\\n";
      line = "  ";
    }
    line += hexadecimal(last ? "%02x" : "%02x,", value.data[i]);
  }
  out += line;
}

void append_value(std::string& out, const std::u16string& name, const RegistryValue& value) {
  std::string line;
  if (name.empty()) {
    line = "@";
  } else {
    append_quoted(line, name);
  }
  line += '=';
  std::u16string text;
  if (quotable_text(value, text)) {
    append_quoted(line, text);
    out += line;
  } else if (value.type == REG_DWORD && value.data.size() == sizeof(uint32_t)) {
    uint32_t number = 0;
    std::memcpy(&number, value.data.data(), sizeof number);
    out += line + hexadecimal("dword:%08x", number);
  } else {
    append_bytes(out, line, value);
  }
  out += '\n';
}

// Recurses at most kDeepestPath levels. False once there are more than `most` bytes.
bool append_key(std::string& out, size_t most, KeyPath& path, std::string& written_path,
                const RegistryKey& key) {
  if (!key.values.empty() || !is_permanent(path)) {
    out += "\n[" + written_path + "]\n";
    for (const auto& [name, value] : key.values) append_value(out, name, value);
  }
  bool fits = out.size() <= most;
  for (const auto& [name, child] : key.children) {
    if (!fits) break;
    const size_t length = written_path.size();
    path.push_back(name);
    written_path += "\\" + utf8_file_name(name);
    fits = append_key(out, most, path, written_path, *child);
    written_path.resize(length);
    path.pop_back();
  }
  return fits;
}

}  // namespace

bool write_export(const RegistryKey& top, size_t most, std::string& text) {
  text = utf8_file_name(kExportHeader) + "\n";
  for (const auto& [name, root] : top.children) {
    KeyPath path{name};
    std::string written_path = utf8_file_name(name);
    if (!append_key(text, most, path, written_path, *root)) return false;
  }
  return text.size() <= most;
}

}  // namespace zdr::platform
