// Unbuffered access to the device that the streams of a file share.
#include "fmgr/stream.h"

namespace zdr::fmgr {
namespace {

int32_t seek_device(const FMGR_Stream& stream) {
  FMGR_Device* device = stream.file->device;
  return device->ops->seek(device, static_cast<uint32_t>(stream.position),
                           static_cast<uint32_t>(stream.position >> 32), FMGR_SEEK_SET);
}

// Advances the stream by the result of a transfer.
int32_t advance(FMGR_Stream& stream, int32_t moved) {
  if (moved < 0) return FMGR_ERR_GENERIC;
  stream.position += static_cast<uint32_t>(moved);
  return moved;
}

}  // namespace

// Kept: seeks even when the device is at the position already. That is cheap: a file only stores the
// position.
int32_t read_device(FMGR_Stream& stream, void* buffer, uint32_t count) {
  const int32_t status = seek_device(stream);
  if (status != FMGR_OK) return status;
  FMGR_Device* device = stream.file->device;
  ++stream.counters.device_reads;
  return advance(stream, device->ops->read(device, buffer, count));
}

int32_t write_device(FMGR_Stream& stream, const void* buffer, uint32_t count) {
  const int32_t status = seek_device(stream);
  if (status != FMGR_OK) return status;
  FMGR_Device* device = stream.file->device;
  ++stream.counters.device_writes;
  return advance(stream, device->ops->write(device, buffer, count));
}

int32_t device_size(const FMGR_File& file, uint64_t* size) {
  return file.device->ops->size(file.device, size);
}

uint64_t device_size_or_zero(const FMGR_File& file) {
  uint64_t size = 0;
  return device_size(file, &size) == FMGR_OK ? size : 0;
}

int32_t device_size32(const FMGR_File& file, uint32_t* size) {
  *size = 0;
  uint64_t whole = 0;
  const int32_t status = device_size(file, &whole);
  if (status != FMGR_OK) return status;
  if (whole > INT32_MAX) return FMGR_ERR_TOO_LARGE;
  *size = static_cast<uint32_t>(whole);
  return FMGR_OK;
}

void seek_stream32(FMGR_Stream& stream, int32_t offset, int32_t whence) {
  if (whence != FMGR_SEEK_END) return seek_stream64(stream, offset, whence);
  uint32_t size = 0;
  device_size32(*stream.file, &size);
  // Kept: the sum wraps at 32 bits, so an offset before the start leads to a position just below 4 GiB.
  stream.position = size + static_cast<uint32_t>(offset);
}

void seek_stream64(FMGR_Stream& stream, int64_t offset, int32_t whence) {
  const auto distance = static_cast<uint64_t>(offset);
  if (whence == FMGR_SEEK_SET) stream.position = distance;
  if (whence == FMGR_SEEK_CURRENT) stream.position += distance;
  if (whence == FMGR_SEEK_END) stream.position = device_size_or_zero(*stream.file) + distance;
}

}  // namespace zdr::fmgr
