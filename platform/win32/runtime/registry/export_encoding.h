// The encodings in which registry editors write.
#pragma once

#include <string>
#include <string_view>

namespace zdr::platform {

// The first line of the form that old editors write, whose text is windows-1252.
inline constexpr std::u16string_view kOldExportHeader = u"REGEDIT4";

// Decodes a file: UTF-16LE after a byte order mark, windows-1252 after kOldExportHeader, else UTF-8. False,
// with the text before the first bad byte, when it is ill-formed. Throws bad_alloc.
bool decode_export(std::string_view bytes, std::u16string& text);

}  // namespace zdr::platform
