// The one table of commands and options from which the parser, the help, the shell completions and the man
// page come.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace zdr::host {

// What the command line asked for. Members that a command has no option for keep their defaults.
struct Options {
  std::string command;
  std::vector<std::string> files;
  std::string output;  // play: folder; keyframe: file or folder
  std::string start;
  std::string stop;
  std::string only;
  std::string session;
  std::string shell;   // completion
  std::string cover;   // info: file for the cover image
  uint32_t index = 0;  // keyframe: which, from 1
  bool json = false;
  bool quiet = false;
  bool force = false;
  bool decode = false;
  bool strict = false;
  bool allow_overlap = false;
};

enum CommandBit : unsigned {
  kPlay = 1u << 0,
  kInfo = 1u << 1,
  kSamples = 1u << 2,
  kCompletion = 1u << 3,
  kManPage = 1u << 4,
  kBoxes = 1u << 9,
  kKeyframe = 1u << 5,
  kRegister = 1u << 10,
  kUnregister = 1u << 11,
  kRegistry = 1u << 12,
};

struct CommandRow {
  CommandBit bit;
  const char* name;
  const char* operand;  // as the usage line shows it; empty for none
  bool many_operands;
  const char* summary;
  bool listed;  // shown in help, completions and the man page
};

struct OptionRow {
  unsigned commands;  // CommandBit values
  const char* name;   // "--start"
  const char* short_name;
  const char* argument;  // shown name of the value; empty for a flag
  const char* choices;   // values separated by blanks, or empty
  const char* summary;
  std::variant<bool Options::*, std::string Options::*> target;
};

std::span<const CommandRow> command_rows();
std::span<const OptionRow> option_rows();

std::string completion_script(std::string_view shell);  // bash, zsh or fish; empty for anything else
std::string man_page(std::string_view version);

}  // namespace zdr::host
