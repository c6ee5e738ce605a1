// Opens and closes streams, and the devices that they share.
#include "fmgr/manager.h"

#include <algorithm>
#include <new>

#include "fmgr/buffer.h"
#include "fmgr/stream.h"

namespace zdr::fmgr {
namespace {

using os::MutexLock;

std::unique_ptr<FMGR_Stream> make_stream(const FMGR_Context& context, AccessClass access) {
  std::unique_ptr<FMGR_Stream> stream(new (std::nothrow) FMGR_Stream);
  if (!stream || !context.buffered()) return stream;
  stream->buffer.reset(new (std::nothrow) FMGR_Buffer);
  if (!stream->buffer) return nullptr;
  const bool reads = access == AccessClass::kRead;
  // A device reports more than INT32_MAX bytes as a negative number, which is an error.
  const uint32_t size = reads ? context.read_buffer_size : context.write_buffer_size;
  stream->buffer->capacity = std::min<uint32_t>(size, INT32_MAX);
  stream->buffer->flags = reads ? FMGR_Buffer::kReadMode : FMGR_Buffer::kWriteMode;
  stream->buffer->owner = stream.get();
  return stream;
}

// Kept: descriptors are compared by address, so two records with the same path open two devices.
FMGR_File* find_file(const FMGR_Context& context, const FMGR_Descriptor& descriptor, AccessClass access) {
  for (FMGR_File* file = context.first_file; file != nullptr; file = file->next) {
    if (file->descriptor == &descriptor && file->access == access) return file;
  }
  return nullptr;
}

// Makes the mutex before it opens the device: after a failed open nothing may change the platform's last
// error, in which callers find the reason.
FMGR_File* add_file(FMGR_Context& context, const FMGR_Descriptor& descriptor, AccessClass access,
                    uint32_t os_mode, FMGR_Stream& owner) {
  std::unique_ptr<FMGR_File> file(new (std::nothrow) FMGR_File);
  if (!file) return nullptr;
  file->context = &context;
  file->descriptor = &descriptor;
  file->access = access;
  file->mutex.reset(OS_MutexCreate());
  if (!file->mutex) return nullptr;
  file->device = open_device(descriptor, os_mode, &owner);
  if (file->device == nullptr) return nullptr;
  insert_after_first(context.first_file, *file);
  return file.release();
}

int32_t close_file_if_unused(FMGR_File* file) {
  if (file->open_count != 0) return FMGR_OK;
  const std::unique_ptr<FMGR_File> owned(file);
  unlink(file->context->first_file, *file);
  return file->device->ops->close(file->device);
}

int32_t attach(FMGR_File& file, FMGR_Stream& stream) {
  const MutexLock lock(file.mutex.get());
  if (lock.status() != FMGR_OK) return lock.status();
  stream.file = &file;
  if (file.access == AccessClass::kAppend) stream.position = device_size_or_zero(file);
  if (stream.buffer) {
    stream.buffer->position = stream.position;
    insert_after_first(file.first_buffer, *stream.buffer);
  }
  insert_after_first(file.first_stream, stream);
  ++file.open_count;
  return FMGR_OK;
}

// The caller holds both mutexes.
void detach(FMGR_Stream& stream) {
  FMGR_File& file = *stream.file;
  if (stream.buffer) {
    unlink(file.first_buffer, *stream.buffer);
    // Kept: bytes that cannot be written are lost without an error.
    reanchor(*stream.buffer);
  }
  unlink(file.first_stream, stream);
  if (file.device->owner == &stream) file.device->owner = file.first_stream;
  --file.open_count;
}

int32_t release_detached(FMGR_Stream* stream) {
  const std::unique_ptr<FMGR_Stream> owned(stream);
  return close_file_if_unused(stream->file);
}

}  // namespace

FMGR_Stream* open_stream(const FMGR_Descriptor& descriptor, const char* mode, FMGR_Context& context) {
  const MutexLock lock(context.mutex.get());
  if (lock.status() != FMGR_OK) return nullptr;
  const std::optional<AccessClass> access = access_class(mode);
  if (!access) return nullptr;
  std::unique_ptr<FMGR_Stream> stream = make_stream(context, *access);
  if (!stream) return nullptr;
  FMGR_File* file = find_file(context, descriptor, *access);
  if (file == nullptr) file = add_file(context, descriptor, *access, os_open_mode(mode), *stream);
  if (file == nullptr) return nullptr;
  if (attach(*file, *stream) != FMGR_OK) {
    close_file_if_unused(file);
    return nullptr;
  }
  return stream.release();
}

int32_t close_stream(FMGR_Stream& stream) {
  if (stream.file == nullptr || stream.file->context == nullptr) return FMGR_ERR_GENERIC;
  const MutexLock manager_lock(stream.file->context->mutex.get());
  if (manager_lock.status() != FMGR_OK) return manager_lock.status();
  {
    const MutexLock file_lock(stream.file->mutex.get());
    if (file_lock.status() != FMGR_OK) return file_lock.status();
    detach(stream);
  }
  return release_detached(&stream);
}

void close_all_streams(FMGR_Context& context) {
  while (context.first_file != nullptr) {
    FMGR_Stream* stream = context.first_file->first_stream;
    // The analyzer does not see that released streams were unlinked.
    // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDelete)
    detach(*stream);
    release_detached(stream);
  }
}

}  // namespace zdr::fmgr
