// The small boxes with fields of their own: file type, headers, handler, edit list, data references.
// Layouts: ISO/IEC 14496-12 (and 14496-1 for iods). Records: box_tree.h. Parser contract: box_reader.h.
#ifndef ZDR_P3GPP_LEAF_BOXES_H
#define ZDR_P3GPP_LEAF_BOXES_H

#include "p3gpp/boxes/box_tree.h"
#include "p3gpp/parse/box_reader.h"

namespace zdr::p3gpp {

// P3GPP_ERR_READ for more than 32 compatible brands and for a size that is none. A box of 8 bytes has no
// payload.
Status parse_ftyp(BoxReader& reader, BoxNode& node);

Status parse_mvhd(BoxReader& reader, BoxNode& node);
// No payload when there is nothing behind version and flags.
Status parse_iods(BoxReader& reader, BoxNode& node);
Status parse_tkhd(BoxReader& reader, BoxNode& node);
Status parse_tref(BoxReader& reader, BoxNode& node);
// P3GPP_ERR_READ for more entries than the box holds. Entries of version 1 are read as if of version 0.
Status parse_elst(BoxReader& reader, BoxNode& node);
Status parse_mdhd(BoxReader& reader, BoxNode& node);
Status parse_hdlr(BoxReader& reader, BoxNode& node);
// P3GPP_ERR_BOX_SIZE unless the box has exactly 28 bytes.
Status parse_hmhd(BoxReader& reader, BoxNode& node);

// A container behind an entry count.
Status parse_dref(BoxReader& reader, BoxNode& node);
Status parse_url(BoxReader& reader, BoxNode& node);
Status parse_urn(BoxReader& reader, BoxNode& node);

}  // namespace zdr::p3gpp

#endif
