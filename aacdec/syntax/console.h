// Prints the decoder's few fixed lines of text: to the standard error, or to the writer of the application.
#pragma once

namespace zdr::aacdec {

// Writes `text`, which includes its line ends.
void write_console(const char* text);

}  // namespace zdr::aacdec
