// Device over a block of the caller's memory, for reading.
#include <algorithm>
#include <cstring>
#include <new>

#include "fmgr/device.h"

namespace zdr::fmgr {
namespace {

struct MemoryDevice : FMGR_Device {
  const uint8_t* base;
  uint32_t size;
  int64_t position;  // never negative; may lie beyond the end
};

MemoryDevice* self(FMGR_Device* device) {
  return static_cast<MemoryDevice*>(device);
}

FMGR_Device* open(const FMGR_Descriptor* descriptor, uint32_t, FMGR_Stream* owner) {
  const auto& memory = descriptor->source.memory;
  if (memory.base == nullptr && memory.size != 0) return nullptr;
  return new (std::nothrow)
      MemoryDevice{{&kMemoryOps, owner}, static_cast<const uint8_t*>(memory.base), memory.size, 0};
}

int32_t close(FMGR_Device* device) {
  delete self(device);
  return FMGR_OK;
}

int32_t read(FMGR_Device* device, void* buffer, uint32_t count) {
  MemoryDevice& memory = *self(device);
  if (memory.position >= memory.size) return 0;
  const auto moved = static_cast<uint32_t>(std::min<int64_t>(count, memory.size - memory.position));
  std::memcpy(buffer, memory.base + memory.position, moved);
  memory.position += moved;
  return static_cast<int32_t>(moved);
}

int32_t seek(FMGR_Device* device, uint32_t offset_low, uint32_t offset_high, int32_t whence) {
  MemoryDevice& memory = *self(device);
  const int64_t offset = offset_of(offset_low, offset_high);
  // Kept: an offset larger than the size is refused from every origin; a smaller one may lead beyond the end.
  if (offset > memory.size) return FMGR_ERR_GENERIC;
  int64_t origin = 0;
  if (whence == FMGR_SEEK_CURRENT) {
    origin = memory.position;
  } else if (whence == FMGR_SEEK_END) {
    if (offset > 0) return FMGR_ERR_GENERIC;
    origin = memory.size;
  } else if (whence != FMGR_SEEK_SET) {
    return FMGR_OK;
  }
  if (offset < -origin) return FMGR_ERR_GENERIC;
  memory.position = origin + offset;
  return FMGR_OK;
}

int32_t tell(FMGR_Device* device, uint64_t* position) {
  *position = static_cast<uint64_t>(self(device)->position);
  return FMGR_OK;
}

int32_t size(FMGR_Device* device, uint64_t* bytes) {
  *bytes = self(device)->size;
  return FMGR_OK;
}

}  // namespace

constinit const FMGR_DeviceOps kMemoryOps = {
    .open = &open,
    .close = &close,
    .read = &read,
    .write = &unsupported_write,
    .seek = &seek,
    .tell = &tell,
    .flush = &unsupported_operation,
    .size = &size,
    .remove = &unsupported_remove,
    .create_temporary = &unsupported_temporary,
    .free_space = &unsupported_query,
    .unused = nullptr,
};

}  // namespace zdr::fmgr
