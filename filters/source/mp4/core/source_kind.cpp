// The table of extensions.
#include "filters/source/mp4/core/source_kind.h"

#include <algorithm>

namespace zdr::mp4source {
namespace {

struct ExtensionRow {
  std::u16string_view extension;
  SourceKind kind;
};

constexpr ExtensionRow kExtensions[] = {
    {u".amr", SOURCE_KIND_AMR},     {u".awb", SOURCE_KIND_AMR},      {u".aac", SOURCE_KIND_AAC},
    {u".3gp", SOURCE_KIND_MP4},     {u".3gpp", SOURCE_KIND_MP4},     {u".3ga", SOURCE_KIND_MP4},
    {u".3g2", SOURCE_KIND_MP4},     {u".mp4", SOURCE_KIND_MP4},      {u".k3g", SOURCE_KIND_MP4},
    {u".skm", SOURCE_KIND_MP4},     {u".mpg", SOURCE_KIND_MP4},      {u".m4a", SOURCE_KIND_MP4},
    {u".m4v", SOURCE_KIND_MP4},     {u".rec", SOURCE_KIND_MP4},      {u".mp4-odf", SOURCE_KIND_MP4},
    {u".k3g-odf", SOURCE_KIND_MP4}, {u".3gpa", SOURCE_KIND_MP4},     {u".3gpa-drm", SOURCE_KIND_MP4},
    {u".mp4a", SOURCE_KIND_MP4},    {u".mp4a-drm", SOURCE_KIND_MP4},
};

constexpr char16_t ascii_lower(char16_t c) {
  return c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c + (u'a' - u'A')) : c;
}

bool equal_ignoring_ascii_case(std::u16string_view a, std::u16string_view b) {
  return std::ranges::equal(a, b, {}, ascii_lower, ascii_lower);
}

}  // namespace

SourceKind source_kind_of(std::u16string_view file_name) {
  const size_t dot = file_name.rfind(u'.');
  if (dot == std::u16string_view::npos) return SOURCE_KIND_NONE;
  const std::u16string_view extension = file_name.substr(dot);
  for (const ExtensionRow& row : kExtensions) {
    if (equal_ignoring_ascii_case(extension, row.extension)) return row.kind;
  }
  return SOURCE_KIND_NONE;
}

}  // namespace zdr::mp4source
