// Which reader a file goes to. The extension of the name decides, never the content.
#pragma once

#include <cstdint>
#include <string_view>

namespace zdr::mp4source {

enum SourceKind : uint32_t {
  SOURCE_KIND_NONE = 0,
  SOURCE_KIND_AMR = 241,  // AMR and AMR-WB speech files
  SOURCE_KIND_MP4 = 243,  // ISO base media files
  SOURCE_KIND_AAC = 244,  // AAC files: ADTS, ADIF, raw
};

// The extension is all from the last "." of the whole name on, so a dot in a folder's name counts when the
// file's own name has none. ASCII letters of either case are the same. SOURCE_KIND_NONE when unknown.
SourceKind source_kind_of(std::u16string_view file_name);

}  // namespace zdr::mp4source
