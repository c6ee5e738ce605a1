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
// in the form that begins with REGEDIT4; a blank one has no content. It is freed as soon as it is decoded.
// False, with `top` half filled, when a line cannot be parsed, or makes more than kMostEntries. Throws
// bad_alloc.
bool read_export(std::string bytes, RegistryKey& top, TextFault& fault);

// Keys and values, also those that a file makes and removes again. Each takes up to 0.3 KiB beside its text,
// and a path in a file may make hundreds.
inline constexpr size_t kMostEntries = 100'000;

struct ExportLimits {
  size_t bytes;
  size_t entries = kMostEntries;
};

// True if the text has at most so many bytes; `bytes` is then their number. Each key repeats the names of
// those above it, so a tree from a file may need hundreds of times the size of the file. Throws bad_alloc.
bool export_fits(const RegistryKey& top, const ExportLimits& limits, size_t& bytes);

// Writes UTF-8 to an empty text; permanent keys are left out while they are empty. False, with nothing
// written, when it does not fit. Throws bad_alloc.
bool write_export(const RegistryKey& top, const ExportLimits& limits, std::string& text);

inline constexpr std::u16string_view kExportHeader = u"Windows Registry Editor Version 5.00";

}  // namespace zdr::platform
