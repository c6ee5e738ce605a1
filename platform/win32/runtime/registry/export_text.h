// The registry as text in the form in which registry editors export, for the file and for people.
#pragma once

#include <string>
#include <string_view>

#include "platform/win32/runtime/registry/registry_tree.h"

namespace zdr::platform {

// The first place that cannot be parsed.
struct TextFault {
  size_t line = 0;  // counted from 1
  const char* reason = nullptr;
};

// Adds the content of the text to `top`. The text is UTF-8, UTF-16LE after a byte order mark, or windows-1252
// in the form that begins with REGEDIT4; a blank one has no content. False, with `top` half filled, when a
// line cannot be parsed. Throws bad_alloc.
bool read_export(std::string_view bytes, RegistryKey& top, TextFault& fault);

// Writes UTF-8; permanent keys are left out while they are empty. False, with a truncated text, once it has
// more than `most` bytes: each key repeats the names of those above it, so a tree from a file of that size
// may need hundreds of times as much. Throws bad_alloc.
bool write_export(const RegistryKey& top, size_t most, std::string& text);

inline constexpr std::u16string_view kExportHeader = u"Windows Registry Editor Version 5.00";

}  // namespace zdr::platform
