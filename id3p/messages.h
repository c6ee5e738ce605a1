// Prints the few fixed messages of the parser.
#pragma once

namespace zdr::id3p {

// Writes to the writer set with ID3P_SetConsole, else to standard error.
void print(const char* message);

}  // namespace zdr::id3p
