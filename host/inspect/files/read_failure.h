// Reads of the media file that failed. The filter and the libraries take a failed read for the end of the
// data, and so report either nothing or a damaged file.
#pragma once

#include <optional>
#include <string>

#include "host/exit_code.h"
#include "host/messages.h"

namespace zdr::host {

// Call before a file is opened. Files are handled one after the other, in one thread.
void watch_reads(const std::string& file);

// Returns and forgets the first read since then that failed, or the fact that the file has shrunk since then;
// nothing if neither happened.
std::optional<Diagnosis> take_read_failure(ExitCode exit_code);

// Reports the failure that has not been taken yet, as a loss.
ExitCode report_read_failure(const std::string& file, Messages& messages);

// For a file that could be read a moment ago, but cannot be opened again to be compared with what it
// delivered.
inline Diagnosis not_opened_again() {
  return {ExitCode::kLoss,
          MessageCode::kReadFailed,
          {},
          "cannot be opened again to see whether all of it was delivered",
          ""};
}

}  // namespace zdr::host
