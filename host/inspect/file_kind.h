// The kind of a file by its extension, as the filter decides it: from the last "." of the whole path, in
// either case.
#pragma once

#include <string>

namespace zdr::host {

enum class FileKind { kUnknown, kIsoMedia, kSpeech, kAac };

FileKind file_kind(const std::string& file);

}  // namespace zdr::host
