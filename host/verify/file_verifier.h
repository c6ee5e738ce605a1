// Plays one file without writing it, and finds out whether all of it is delivered undamaged.
#pragma once

#include <string>

#include "host/options.h"
#include "host/verify/file_verdict.h"

namespace zdr::host {

// Shows progress unless `options.quiet`, but prints no message.
FileVerdict verify_file(const std::string& file, const Options& options);

}  // namespace zdr::host
