// Compares the extension of a file, which decides how it is read, with its first bytes.
#pragma once

#include <string>

#include "host/messages.h"

namespace zdr::host {

// Notes that a file looks like one of another type, or that a speech file does not begin as it should.
// Reports nothing for files that cannot be opened.
void report_content_hint(const std::string& file, Messages& messages);

// True for a program stream or a video sequence of MPEG-1/2, which share the extension .mpg.
bool looks_like_mpeg(const std::string& file);

}  // namespace zdr::host
