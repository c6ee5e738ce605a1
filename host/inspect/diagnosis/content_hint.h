// Compares the extension of a file, which decides how it is read, with its first bytes.
#pragma once

#include <string>

#include "host/messages.h"

namespace zdr::host {

// Notes that a file looks like one of another type, or that a speech file does not begin as it should.
// Reports nothing for files that cannot be opened.
void report_content_hint(const std::string& file, Messages& messages);

}  // namespace zdr::host
