// Opening and closing streams: which of them share a device, and when that is opened and closed.
#ifndef ZDR_FMGR_MANAGER_H
#define ZDR_FMGR_MANAGER_H

#include "fmgr/records.h"

namespace zdr::fmgr {

FMGR_Stream* open_stream(const FMGR_Descriptor& descriptor, const char* mode, FMGR_Context& context);

int32_t close_stream(FMGR_Stream& stream);

// Closes whatever is open; nobody may use the context meanwhile.
void close_all_streams(FMGR_Context& context);

}  // namespace zdr::fmgr

#endif
