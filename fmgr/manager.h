// Opens and closes streams: decides which streams share a device, and when a device is opened and closed.
#pragma once

#include "fmgr/records.h"

namespace zdr::fmgr {

// Null if the mode names no access, the device does not open or memory runs out.
FMGR_Stream* open_stream(const FMGR_Descriptor& descriptor, const char* mode, FMGR_Context& context);

// Writes back, detaches and releases the stream. Returns the status of closing the device, if that was its
// last stream.
int32_t close_stream(FMGR_Stream& stream);

// Takes no locks: no other thread may use the context.
void close_all_streams(FMGR_Context& context);

}  // namespace zdr::fmgr
