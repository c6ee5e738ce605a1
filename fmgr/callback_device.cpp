// Devices over the callbacks of the caller: one for reading, one for reading and writing.
#include <algorithm>
#include <new>

#include "fmgr/device.h"

namespace zdr::fmgr {
namespace {

struct CallbackDevice : FMGR_Device {
  void* caller;
  FMGR_ReadCallback read;
  FMGR_WriteCallback write;  // null if the device only reads
  uint64_t position;
  uint64_t size;
};

CallbackDevice* self(FMGR_Device* device) {
  return static_cast<CallbackDevice*>(device);
}

FMGR_Device* open_with(CallbackDevice device, FMGR_SizeCallback size) {
  if (device.caller == nullptr || device.read == nullptr || size == nullptr) return nullptr;
  // Kept: the status of the size callback is ignored, so that a source of unknown length can be read.
  size(device.caller, &device.size);
  return new (std::nothrow) CallbackDevice(device);
}

FMGR_Device* open(const FMGR_Descriptor* descriptor, uint32_t, FMGR_Stream* owner) {
  const auto& source = descriptor->source.callback;
  return open_with({{&kCallbackOps, owner}, source.caller, source.read, nullptr, 0, 0}, source.size);
}

FMGR_Device* open_read_write(const FMGR_Descriptor* descriptor, uint32_t, FMGR_Stream* owner) {
  const auto& source = descriptor->source.callback_rw;
  if (source.write == nullptr) return nullptr;
  return open_with({{&kCallbackReadWriteOps, owner}, source.caller, source.read, source.write, 0, 0},
                   source.size);
}

int32_t close(FMGR_Device* device) {
  delete self(device);
  return FMGR_OK;
}

// Calls the caller's callback with the position of the device, and advances the position.
template <class Callback, class Bytes>
int32_t transfer(CallbackDevice& device, Callback callback, Bytes* bytes, uint32_t count) {
  uint32_t moved = 0;
  const int32_t status = callback(device.caller, bytes, count, static_cast<uint32_t>(device.position),
                                  static_cast<uint32_t>(device.position >> 32), &moved);
  if (status != 0 || moved > count) return -1;
  device.position += moved;
  return static_cast<int32_t>(moved);
}

int32_t read(FMGR_Device* device, void* buffer, uint32_t count) {
  return transfer(*self(device), self(device)->read, buffer, count);
}

int32_t write(FMGR_Device* device, const void* buffer, uint32_t count) {
  CallbackDevice& callback = *self(device);
  const int32_t moved = transfer(callback, callback.write, buffer, count);
  if (moved > 0) callback.size = std::max(callback.size, callback.position);
  return moved;
}

int32_t seek(FMGR_Device* device, uint32_t offset_low, uint32_t offset_high, int32_t whence) {
  CallbackDevice& callback = *self(device);
  const auto offset = static_cast<uint64_t>(offset_of(offset_low, offset_high));
  if (whence == FMGR_SEEK_SET) callback.position = offset;
  if (whence == FMGR_SEEK_CURRENT) callback.position += offset;
  if (whence == FMGR_SEEK_END) callback.position = callback.size + offset;
  return FMGR_OK;
}

int32_t tell(FMGR_Device* device, uint64_t* position) {
  *position = self(device)->position;
  return FMGR_OK;
}

int32_t size(FMGR_Device* device, uint64_t* bytes) {
  *bytes = self(device)->size;
  return FMGR_OK;
}

int32_t remove(const void*) {
  return FMGR_OK;
}

using OpenOperation = decltype(FMGR_DeviceOps::open);
using WriteOperation = decltype(FMGR_DeviceOps::write);

constexpr FMGR_DeviceOps make_ops(OpenOperation open_operation, WriteOperation write_operation) {
  return {
      .open = open_operation,
      .close = &close,
      .read = &read,
      .write = write_operation,
      .seek = &seek,
      .tell = &tell,
      .flush = &unsupported_operation,
      .size = &size,
      .remove = &remove,
      .create_temporary = &unsupported_temporary,
      .free_space = &unsupported_query,
      .unused = nullptr,
  };
}

}  // namespace

constinit const FMGR_DeviceOps kCallbackOps = make_ops(&open, &unsupported_write);
constinit const FMGR_DeviceOps kCallbackReadWriteOps = make_ops(&open_read_write, &write);

}  // namespace zdr::fmgr
