// Unbuffered access: every transfer first seeks the shared device to the position of the stream. Callers hold
// the file mutex.
#pragma once

#include "fmgr/records.h"

namespace zdr::fmgr {

// Transfer at the position of the stream, and advance it. Return the number of bytes, or a negative status:
// the seek status of the device, or FMGR_ERR_GENERIC for a failed transfer.
int32_t read_device(FMGR_Stream& stream, void* buffer, uint32_t count);
int32_t write_device(FMGR_Stream& stream, const void* buffer, uint32_t count);

int32_t device_size(const FMGR_File& file, uint64_t* size);
// For seeks, which cannot fail: 0 if the device does not know its size.
uint64_t device_size_or_zero(const FMGR_File& file);
// FMGR_ERR_TOO_LARGE and 0 if the size does not fit a signed 32-bit number.
int32_t device_size32(const FMGR_File& file, uint32_t* size);

// Set the position of the stream. An unknown `whence` changes nothing.
void seek_stream32(FMGR_Stream& stream, int32_t offset, int32_t whence);
void seek_stream64(FMGR_Stream& stream, int64_t offset, int32_t whence);

}  // namespace zdr::fmgr
