// The table of extensions.
#include "host/inspect/file_kind.h"

#include <algorithm>
#include <string_view>

namespace zdr::host {
namespace {

struct ExtensionRow {
  std::string_view extension;
  FileKind kind;
};

constexpr ExtensionRow kExtensions[] = {
    {".amr", FileKind::kSpeech},       {".awb", FileKind::kSpeech},       {".aac", FileKind::kAac},
    {".3gp", FileKind::kIsoMedia},     {".3gpp", FileKind::kIsoMedia},    {".3ga", FileKind::kIsoMedia},
    {".3g2", FileKind::kIsoMedia},     {".mp4", FileKind::kIsoMedia},     {".k3g", FileKind::kIsoMedia},
    {".skm", FileKind::kIsoMedia},     {".mpg", FileKind::kIsoMedia},     {".m4a", FileKind::kIsoMedia},
    {".m4v", FileKind::kIsoMedia},     {".rec", FileKind::kIsoMedia},     {".mp4-odf", FileKind::kIsoMedia},
    {".k3g-odf", FileKind::kIsoMedia}, {".3gpa", FileKind::kIsoMedia},    {".3gpa-drm", FileKind::kIsoMedia},
    {".mp4a", FileKind::kIsoMedia},    {".mp4a-drm", FileKind::kIsoMedia}};

constexpr char ascii_lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

}  // namespace

FileKind file_kind(const std::string& file) {
  const size_t dot = file.rfind('.');
  if (dot == std::string::npos) return FileKind::kUnknown;
  std::string extension = file.substr(dot);
  std::ranges::transform(extension, extension.begin(), ascii_lower);
  const auto* const row = std::ranges::find(kExtensions, extension, &ExtensionRow::extension);
  return row == std::end(kExtensions) ? FileKind::kUnknown : row->kind;
}

}  // namespace zdr::host
