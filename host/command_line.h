// Parses the command line with a parser built from the table of commands.
#pragma once

#include "host/command_row.h"

namespace zdr::host {

struct ParsedLine {
  const CommandRow* command = nullptr;  // null when help, the version or an error was printed
  Options options;
  ExitCode exit_code = ExitCode::kDone;  // of a run without a command
};

ParsedLine parse_command_line(int argc, const char* const* argv);

}  // namespace zdr::host
