// Parses and formats the lines of a manifest.
#include "host/verify/digest_manifest.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <utility>

namespace zdr::host {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::array<std::pair<char, char>, 3> kEscapes{{{'\\', '\\'}, {'\n', 'n'}, {'\r', 'r'}}};

std::string escaped(const std::string& name) {
  std::string text;
  for (const char c : name) {
    const auto* const row = std::ranges::find(kEscapes, c, &std::pair<char, char>::first);
    if (row == kEscapes.end()) {
      text += c;
    } else {
      (text += '\\') += row->second;
    }
  }
  return text;
}

std::string unescaped(std::string_view text) {
  std::string name;
  for (size_t i = 0; i < text.size(); ++i) {
    const auto* row = kEscapes.end();
    if (text[i] == '\\' && i + 1 < text.size()) {
      row = std::ranges::find(kEscapes, text[i + 1], &std::pair<char, char>::second);
    }
    const bool is_escape = row != kEscapes.end();
    name += is_escape ? row->first : text[i];
    i += is_escape ? 1 : 0;
  }
  return name;
}

}  // namespace

std::string manifest_line(const std::string& digest, const std::string& name) {
  const std::string text = escaped(name);
  return (text == name ? "" : "\\") + digest + "  " + text;
}

const char* DigestManifest::add(std::string_view line) {
  constexpr const char* kForm =
      "expected a digest (32 hexadecimal digits of MD5 or 64 of SHA-256, the same kind in all lines), two "
      "spaces and a name";
  const bool is_escaped = line.starts_with('\\');
  if (is_escaped) line.remove_prefix(1);
  const size_t digits = std::min(line.find_first_not_of("0123456789abcdefABCDEF"), line.size());
  const auto kind = digest_kind_of_length(digits);
  const std::string_view rest = line.substr(digits);
  if (!kind || rest.size() < 3 || rest[0] != ' ' || (rest[1] != ' ' && rest[1] != '*')) return kForm;
  if (!entries_.empty() && kind != kind_) return kForm;
  kind_ = *kind;
  std::string digest(line.substr(0, digits));
  std::ranges::transform(digest, digest.begin(),
                         [](char c) { return c >= 'A' && c <= 'F' ? static_cast<char>(c | 0x20) : c; });
  const std::string_view name = rest.substr(2);
  const auto [entry, is_new] =
      entries_.try_emplace(is_escaped ? unescaped(name) : std::string(name), Entry{digest, false});
  return is_new || entry->second.digest == digest ? nullptr : "contradicts an earlier line for the same name";
}

ExitCode DigestManifest::read(const std::string& file, Messages& messages) {
  errno = 0;
  std::ifstream in(file);
  std::string line;
  uint64_t number = 1;
  for (; std::getline(in, line); ++number) {
    if (line.ends_with('\r')) line.pop_back();  // of a text file of another system
    if (number == 1 && line.starts_with(kByteOrderMark)) line.erase(0, kByteOrderMark.size());
    if (line.find_first_not_of(" \t") == std::string::npos || line[0] == '#') continue;
    if (const char* const fault = add(line)) {
      messages.error({MessageCode::kFileDamaged, file, Place::line(number), fault, ""});
      return ExitCode::kCannotOpen;
    }
  }
  if (in.eof() && !entries_.empty()) return ExitCode::kDone;
  const std::string reason =
      errno != 0 ? std::string("cannot be read: ") + std::strerror(errno) : "has no digest";
  messages.error({MessageCode::kFileNotReadable, file, {}, reason, ""});
  return ExitCode::kCannotOpen;
}

const std::string* DigestManifest::look_up(const std::string& name) {
  const auto found = entries_.find(name);
  if (found == entries_.end()) return nullptr;
  found->second.is_seen = true;
  return &found->second.digest;
}

std::vector<std::string> DigestManifest::unseen() const {
  std::vector<std::string> names;
  for (const auto& [name, entry] : entries_) {
    if (!entry.is_seen) names.push_back(name);
  }
  return names;
}

}  // namespace zdr::host
