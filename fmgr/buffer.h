// Buffered access: a block of the file before every stream, which the sibling streams of the file may read
// from too. All functions need the file mutex.
#ifndef ZDR_FMGR_BUFFER_H
#define ZDR_FMGR_BUFFER_H

#include "fmgr/records.h"

namespace zdr::fmgr {

// Writes what is unwritten and empties the buffer, which then stands at the position of its stream. A failure
// (FMGR_ERR_GENERIC or the device's seek status) leaves the content as it was.
int32_t reanchor(FMGR_Buffer& buffer);

uint64_t buffer_position(const FMGR_Buffer& buffer);

// Bytes read. Nothing tells a failing device from the end of the data.
uint32_t read_buffer(FMGR_Buffer& buffer, uint8_t* out, uint32_t count);

// FMGR_ERR_GENERIC for an unknown `whence`, else 0.
int32_t seek_buffer(FMGR_Buffer& buffer, int64_t offset, int32_t whence);

}  // namespace zdr::fmgr

#endif
