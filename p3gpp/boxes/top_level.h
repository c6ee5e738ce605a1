// The scan over the top-level boxes of a file.
#ifndef ZDR_P3GPP_TOP_LEVEL_H
#define ZDR_P3GPP_TOP_LEVEL_H

#include "p3gpp/boxes/box_tree.h"
#include "p3gpp/parse/box_reader.h"

namespace zdr::p3gpp {

// Fills `file` up to and with the first moov; nothing behind it is read. P3GPP_ERR_NO_MOOV if there is none.
// `context` stands at the start of the file.
Status scan_top_level(ParseContext& context, P3gppFile& file);

}  // namespace zdr::p3gpp

#endif
