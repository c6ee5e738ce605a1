// Where the decoder's few fixed lines of text go: the standard error, or wherever the application wants them.
#pragma once

#include "aacdec/zd_aac_dec.h"

namespace zdr::aacdec {

// Writes `text`, which carries its own line ends.
void write_console(const char* text);

}  // namespace zdr::aacdec
