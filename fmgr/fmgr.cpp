// The public functions: they check arguments, lock the file, and call buffered or unbuffered access.
#include "fmgr/fmgr.h"

#include <algorithm>
#include <new>

#include "fmgr/buffer.h"
#include "fmgr/manager.h"
#include "fmgr/stream.h"

using zdr::os::MutexLock;
namespace fmgr = zdr::fmgr;

namespace {

// Lets the version of the manager be read from every binary that contains it.
[[gnu::used]] constexpr char kVersionMarker[] = "VERSION=FMGR_1_1_2";

// Calls `operation` under the file mutex of `stream`.
template <class Operation>
int32_t with_file_locked(FMGR_Stream* stream, Operation operation) {
  if (stream == nullptr) return FMGR_ERR_GENERIC;
  const MutexLock lock(stream->file->mutex.get());
  if (lock.status() != FMGR_OK) return lock.status();
  return operation(*stream);
}

int32_t seek_open(FMGR_Stream& open, int64_t offset, int32_t whence) {
  if (open.buffer) return fmgr::seek_buffer(*open.buffer, offset, whence);
  fmgr::seek_stream64(open, offset, whence);
  return FMGR_OK;
}

int32_t read_open(FMGR_Stream& open, void* buffer, uint32_t count) {
  // Kept: reading 0 bytes is an error.
  if (buffer == nullptr || count == 0) return FMGR_ERR_BAD_ARGUMENT;
  // A larger count would be returned as a negative number.
  count = std::min<uint32_t>(count, INT32_MAX);
  ++open.counters.stream_reads;
  if (!open.buffer) return fmgr::read_device(open, buffer, count);
  return static_cast<int32_t>(fmgr::read_buffer(*open.buffer, static_cast<uint8_t*>(buffer), count));
}

}  // namespace

int32_t FMGR_Init(FMGR_Context** context, const FMGR_Config* config) noexcept {
  if (context == nullptr || config == nullptr) return FMGR_ERR_BAD_ARGUMENT;
  *context = nullptr;
  std::unique_ptr<FMGR_Context> made(new (std::nothrow) FMGR_Context);
  if (!made) return FMGR_ERR_NO_MEMORY;
  made->read_buffer_size = config->read_buffer_size;
  made->write_buffer_size = config->write_buffer_size;
  made->mutex.reset(OS_MutexCreate());
  if (!made->mutex) return FMGR_ERR_NO_MEMORY;
  *context = made.release();
  return FMGR_OK;
}

int32_t FMGR_Deinit(FMGR_Context* context) noexcept {
  if (context == nullptr) return FMGR_ERR_BAD_ARGUMENT;
  const std::unique_ptr<FMGR_Context> owned(context);
  fmgr::close_all_streams(*context);
  return FMGR_OK;
}

FMGR_Stream* FMGR_FOpen(const FMGR_Descriptor* descriptor, const char* mode, FMGR_Context* context) noexcept {
  if (descriptor == nullptr || mode == nullptr || context == nullptr) return nullptr;
  return fmgr::open_stream(*descriptor, mode, *context);
}

int32_t FMGR_FClose(FMGR_Stream* stream) noexcept {
  return stream != nullptr ? fmgr::close_stream(*stream) : FMGR_ERR_GENERIC;
}

int32_t FMGR_FRead(FMGR_Stream* stream, void* buffer, uint32_t count) noexcept {
  return with_file_locked(stream, [&](FMGR_Stream& open) { return read_open(open, buffer, count); });
}

int32_t FMGR_FReadAt(FMGR_Stream* stream, uint32_t offset_low, uint32_t offset_high, void* buffer,
                     uint32_t count, int32_t* moved) noexcept {
  if (stream != nullptr && moved == nullptr) return FMGR_ERR_BAD_ARGUMENT;
  return with_file_locked(stream, [&](FMGR_Stream& open) {
    const int32_t status = seek_open(open, fmgr::offset_of(offset_low, offset_high), FMGR_SEEK_SET);
    if (status == FMGR_OK) *moved = read_open(open, buffer, count);
    return status;
  });
}

int32_t FMGR_FSeek(FMGR_Stream* stream, int32_t offset, int32_t whence) noexcept {
  return with_file_locked(stream, [&](FMGR_Stream& open) -> int32_t {
    if (open.buffer) return fmgr::seek_buffer(*open.buffer, offset, whence);
    fmgr::seek_stream32(open, offset, whence);
    return FMGR_OK;
  });
}

int32_t FMGR_FSeek64(FMGR_Stream* stream, uint32_t offset_low, uint32_t offset_high,
                     int32_t whence) noexcept {
  return with_file_locked(stream, [&](FMGR_Stream& open) {
    return seek_open(open, fmgr::offset_of(offset_low, offset_high), whence);
  });
}

int32_t FMGR_FTell(FMGR_Stream* stream, uint64_t* position) noexcept {
  if (stream != nullptr && position == nullptr) return FMGR_ERR_BAD_ARGUMENT;
  return with_file_locked(stream, [&](const FMGR_Stream& open) -> int32_t {
    *position = open.buffer ? fmgr::buffer_position(*open.buffer) : open.position;
    return FMGR_OK;
  });
}

int32_t FMGR_FSize(FMGR_Stream* stream, uint32_t* size) noexcept {
  if (stream != nullptr && size == nullptr) return FMGR_ERR_BAD_ARGUMENT;
  return with_file_locked(stream,
                          [&](const FMGR_Stream& open) { return fmgr::device_size32(*open.file, size); });
}

int32_t FMGR_FSize64(FMGR_Stream* stream, uint64_t* size) noexcept {
  if (stream != nullptr && size == nullptr) return FMGR_ERR_BAD_ARGUMENT;
  return with_file_locked(stream,
                          [&](const FMGR_Stream& open) { return fmgr::device_size(*open.file, size); });
}
