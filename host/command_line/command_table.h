// The table of all commands and options of the program.
#pragma once

#include "host/command_line/command_row.h"

namespace zdr::host {

// A new command or option is a new row here.
CommandTable command_table();

}  // namespace zdr::host
