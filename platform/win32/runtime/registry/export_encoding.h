// The encodings in which registry editors write.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "platform/win32/win32_types.h"

namespace zdr::platform {

// The first line of the form that old editors write, whose text is windows-1252.
inline constexpr std::u16string_view kOldExportHeader = u"REGEDIT4";

// Decodes a file: UTF-16LE after a byte order mark, windows-1252 after kOldExportHeader, else UTF-8. False,
// with the text before the first bad byte, when it is ill-formed. Throws bad_alloc.
bool decode_export(std::string_view bytes, std::u16string& text);

// Where byte `index` of the data of a value is in a file, and the reverse: texts and numbers have the byte
// order of the machine, but the low byte first in files.
size_t place_of_byte(DWORD type, size_t index, size_t size) noexcept;

}  // namespace zdr::platform
