// The scan over the top-level boxes of a file (ISO/IEC 14496-12, 4.2): ftyp, moov, moof.
#pragma once

#include "p3gpp/boxes/file_record.h"
#include "p3gpp/parse/parse_context.h"

namespace zdr::p3gpp {

// Fills `file` up to and including the first moov; nothing after it is read. P3GPP_ERR_NO_MOOV if there is
// none. `context` must be at the start of the file.
Status scan_top_level(ParseContext& context, P3gppFile& file);

}  // namespace zdr::p3gpp
