// Prints the few fixed lines of text of the decoder to standard error, or to the writer that the application
// has set.
#pragma once

namespace zdr::aacdec {

// Writes `text`, which includes its line ends.
void write_console(const char* text);

}  // namespace zdr::aacdec
