// Buffered access: each stream has a block of the file in memory, from which the other streams of the file
// may read too. Callers hold the file mutex.
#pragma once

#include "fmgr/records.h"

namespace zdr::fmgr {

// Writes the unwritten bytes, then empties the buffer and moves it to the position of its stream. On failure
// (FMGR_ERR_GENERIC or the seek status of the device) the content stays.
int32_t reanchor(FMGR_Buffer& buffer);

// The position of the next byte to read, in the file.
uint64_t buffer_position(const FMGR_Buffer& buffer);

// Returns the number of bytes read. A failing device looks like the end of the data.
uint32_t read_buffer(FMGR_Buffer& buffer, uint8_t* out, uint32_t count);

// FMGR_ERR_GENERIC for an unknown `whence`, else FMGR_OK.
int32_t seek_buffer(FMGR_Buffer& buffer, int64_t offset, int32_t whence);

}  // namespace zdr::fmgr
