// The rows of the table of commands and options, from which the parser, the help, the shell completions and
// the man page are made.
#pragma once

#include <iosfwd>
#include <span>
#include <string>
#include <variant>

#include "host/exit_code.h"
#include "host/options.h"

namespace zdr::host {

enum CommandBit : unsigned {
  kPlay = 1u << 0,
  kInfo = 1u << 1,
  kSamples = 1u << 2,
  kBoxes = 1u << 3,
  kKeyframe = 1u << 4,
  kRegister = 1u << 5,
  kUnregister = 1u << 6,
  kRegistry = 1u << 7,
  kCompletion = 1u << 8,
  kManPage = 1u << 9,
  kVerify = 1u << 10,
  kVerifyWorker = 1u << 11,
  kKeyframes = 1u << 12,
  kPlot = 1u << 13,
};

struct CommandRow {
  CommandBit bit;
  const char* name;
  const char* operand;  // name of the operand in the usage line; empty for none
  bool many_operands;
  const char* summary;
  bool listed;  // listed in help, completions and the man page
  // Prints results to `out` and messages to standard error.
  ExitCode (*run)(const Options& options, std::ostream& out);
};

struct OptionRow {
  unsigned commands;  // CommandBit values
  const char* name;   // "--start"
  const char* short_name;
  const char* argument;  // name of the value in the help; empty for a flag
  const char* choices;   // values separated by blanks, or empty
  const char* summary;
  std::variant<bool Options::*, std::string Options::*, uint32_t Options::*> target;
};

struct CommandTable {
  std::span<const CommandRow> commands;
  std::span<const OptionRow> options;
};

}  // namespace zdr::host
