// Unbuffered access: every transfer seeks the shared device to the position of the stream first. All
// functions need the file mutex.
#ifndef ZDR_FMGR_STREAM_H
#define ZDR_FMGR_STREAM_H

#include "fmgr/records.h"

namespace zdr::fmgr {

// Bytes moved at the position of the stream, which moves on, or a negative status.
int32_t read_device(FMGR_Stream& stream, void* buffer, uint32_t count);
int32_t write_device(FMGR_Stream& stream, const void* buffer, uint32_t count);

int32_t device_size(const FMGR_File& file, uint64_t* size);
// The size where none of the callers can fail: 0 when the device does not know it.
uint64_t device_size_or_zero(const FMGR_File& file);
// FMGR_ERR_TOO_LARGE and 0 when the size does not fit a signed 32-bit number.
int32_t device_size32(const FMGR_File& file, uint32_t* size);

void seek_stream32(FMGR_Stream& stream, int32_t offset, int32_t whence);
void seek_stream64(FMGR_Stream& stream, int64_t offset, int32_t whence);

}  // namespace zdr::fmgr

#endif
