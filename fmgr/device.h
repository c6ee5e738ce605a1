// Device interface: a table of operations for each device type, and the fields that every device begins with.
//
// The manager calls open, close, read, seek and size, and write when it flushes a buffer. The other
// operations complete the interface for other holders of a device. No slot is null: an operation that a type
// does not have returns FMGR_ERR_NOT_SUPPORTED.
#pragma once

#include "fmgr/fmgr.h"

struct FMGR_Device;

struct FMGR_DeviceOps {
  // `os_mode` is an OS_OPEN_ mode; `owner` is the stream that the device is opened for. Null on failure.
  FMGR_Device* (*open)(const FMGR_Descriptor* descriptor, uint32_t os_mode, FMGR_Stream* owner);
  // Releases the device, whatever the status.
  int32_t (*close)(FMGR_Device* device);
  // Return the number of bytes moved, or a negative status.
  int32_t (*read)(FMGR_Device* device, void* buffer, uint32_t count);
  int32_t (*write)(FMGR_Device* device, const void* buffer, uint32_t count);
  int32_t (*seek)(FMGR_Device* device, uint32_t offset_low, uint32_t offset_high, int32_t whence);
  int32_t (*tell)(FMGR_Device* device, uint64_t* position);
  int32_t (*flush)(FMGR_Device* device);
  int32_t (*size)(FMGR_Device* device, uint64_t* size);
  // `path` is narrow or wide like the path in descriptors of the type.
  int32_t (*remove)(const void* path);
  // Opens a new file beside that of `descriptor`, and stores a descriptor of it in `*temporary`. Closing the
  // device deletes the file and releases the descriptor.
  FMGR_Device* (*create_temporary)(const FMGR_Descriptor* descriptor, const FMGR_Descriptor** temporary,
                                   FMGR_Stream* owner);
  int32_t (*free_space)(FMGR_Device* device, uint64_t* bytes);
  void* unused;
};

struct FMGR_Device {
  const FMGR_DeviceOps* ops;
  FMGR_Stream* owner;
};

namespace zdr::fmgr {

extern const FMGR_DeviceOps kFileOps;
extern const FMGR_DeviceOps kWideFileOps;
extern const FMGR_DeviceOps kCallbackOps;
extern const FMGR_DeviceOps kMemoryOps;
extern const FMGR_DeviceOps kReservedOps;
extern const FMGR_DeviceOps kCallbackReadWriteOps;

// Opens the device that `descriptor` describes. Null if its type is unknown or the open fails.
FMGR_Device* open_device(const FMGR_Descriptor& descriptor, uint32_t os_mode, FMGR_Stream* owner);

// For the slots of operations that a device type does not have.
int32_t unsupported_write(FMGR_Device* device, const void* buffer, uint32_t count);
int32_t unsupported_operation(FMGR_Device* device);
int32_t unsupported_remove(const void* path);
FMGR_Device* unsupported_temporary(const FMGR_Descriptor* descriptor, const FMGR_Descriptor** temporary,
                                   FMGR_Stream* owner);
int32_t unsupported_query(FMGR_Device* device, uint64_t* number);

// Joins the two words of a signed 64-bit offset.
inline int64_t offset_of(uint32_t low, uint32_t high) {
  return static_cast<int64_t>(uint64_t{high} << 32 | low);
}

}  // namespace zdr::fmgr
