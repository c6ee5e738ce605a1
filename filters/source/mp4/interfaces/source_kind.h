// The kinds of file, each of which has a reader. The extension of the name decides the kind, never the
// content.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace zdr::mp4source {

enum SourceKind : uint32_t {
  SOURCE_KIND_NONE = 0,
  SOURCE_KIND_AMR = 241,  // AMR and AMR-WB speech files
  SOURCE_KIND_MP4 = 243,  // ISO base media files
  SOURCE_KIND_AAC = 244,  // AAC files: ADTS, ADIF, raw
};

struct KnownExtension {
  std::string_view extension;  // lower case
  SourceKind kind;
};

inline constexpr KnownExtension kKnownExtensions[] = {
    {".amr", SOURCE_KIND_AMR},     {".awb", SOURCE_KIND_AMR},      {".aac", SOURCE_KIND_AAC},
    {".3gp", SOURCE_KIND_MP4},     {".3gpp", SOURCE_KIND_MP4},     {".3ga", SOURCE_KIND_MP4},
    {".3g2", SOURCE_KIND_MP4},     {".mp4", SOURCE_KIND_MP4},      {".k3g", SOURCE_KIND_MP4},
    {".skm", SOURCE_KIND_MP4},     {".mpg", SOURCE_KIND_MP4},      {".m4a", SOURCE_KIND_MP4},
    {".m4v", SOURCE_KIND_MP4},     {".rec", SOURCE_KIND_MP4},      {".mp4-odf", SOURCE_KIND_MP4},
    {".k3g-odf", SOURCE_KIND_MP4}, {".3gpa", SOURCE_KIND_MP4},     {".3gpa-drm", SOURCE_KIND_MP4},
    {".mp4a", SOURCE_KIND_MP4},    {".mp4a-drm", SOURCE_KIND_MP4},
};

// True if the text is `lower` after its ASCII letters have become lower case.
template <class Char>
constexpr bool matches_without_case(std::basic_string_view<Char> text, std::string_view lower) {
  if (text.size() != lower.size()) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool is_upper = text[i] >= Char{'A'} && text[i] <= Char{'Z'};
    const Char folded = is_upper ? static_cast<Char>(text[i] + ('a' - 'A')) : text[i];
    if (folded != static_cast<Char>(lower[i])) return false;
  }
  return true;
}

// SOURCE_KIND_NONE for an unknown extension. ASCII letters match in either case.
template <class Char>
constexpr SourceKind source_kind_of_name(std::basic_string_view<Char> file_name) {
  // Kept: the last dot of the whole path counts, so a dot in a folder's name counts when the file's name has
  // none.
  const std::size_t dot = file_name.rfind(Char{'.'});
  if (dot == std::basic_string_view<Char>::npos) return SOURCE_KIND_NONE;
  for (const KnownExtension& known : kKnownExtensions) {
    if (matches_without_case(file_name.substr(dot), known.extension)) return known.kind;
  }
  return SOURCE_KIND_NONE;
}
constexpr SourceKind source_kind_of(std::string_view file_name) {
  return source_kind_of_name(file_name);
}
constexpr SourceKind source_kind_of(std::u16string_view file_name) {
  return source_kind_of_name(file_name);
}

}  // namespace zdr::mp4source
