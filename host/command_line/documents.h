// `zdr completion` and `zdr man-page`: shell completions and the man page, made from the table of commands so
// that they cannot differ from the parser.
#pragma once

#include <string>
#include <string_view>

#include "host/command_line/command_row.h"

namespace zdr::host {

// Returns the script for "bash", "zsh" or "fish"; empty for any other shell.
std::string completion_script(const CommandTable& table, std::string_view shell);
// Returns the man page as roff source.
std::string man_page(const CommandTable& table, std::string_view version);

}  // namespace zdr::host
