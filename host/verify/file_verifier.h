// Plays one file to nothing and says whether all of it came, and came sound.
#pragma once

#include <string>

#include "host/options.h"
#include "host/verify/file_verdict.h"

namespace zdr::host {

// Shows progress unless `options.quiet`, but prints no message.
FileVerdict verify_file(const std::string& file, const Options& options);

}  // namespace zdr::host
