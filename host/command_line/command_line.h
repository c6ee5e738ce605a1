// Parses the command line with a parser built from the table of commands.
#pragma once

#include "host/command_line/command_row.h"

namespace zdr::host {

struct ParsedLine {
  const CommandRow* command = nullptr;  // null when help, the version or an error was printed
  Options options;
  ExitCode exit_code = ExitCode::kDone;  // if no command is to run
};

ParsedLine parse_command_line(int argc, const char* const* argv);

}  // namespace zdr::host
