// Reads the command line by the option table.
#pragma once

#include <optional>

#include "host/exit_code.h"
#include "host/option_table.h"

namespace zdr::host {

struct ParsedLine {
  std::optional<Options> options;        // nothing when help, the version or a complaint was printed
  ExitCode exit_code = ExitCode::kDone;  // what to exit with then
};

ParsedLine parse_command_line(int argc, const char* const* argv);

}  // namespace zdr::host
