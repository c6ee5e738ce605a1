// How the manager reaches bytes: a table of operations for each device type, and what every device begins
// with.
//
// The manager calls open, close, read, seek and size, and write from the flush of a buffer; the other slots
// belong to the device interface for whoever holds a device. A slot that a type has no use for answers
// FMGR_ERR_NOT_SUPPORTED, so no caller asks for null.
#ifndef ZDR_FMGR_DEVICE_H
#define ZDR_FMGR_DEVICE_H

#include "fmgr/fmgr.h"

struct FMGR_Device;

struct FMGR_DeviceOps {
  // `os_mode` is one of OS_OPEN_...; `owner` is the stream that the device is opened for. Null on failure.
  FMGR_Device* (*open)(const FMGR_Descriptor* descriptor, uint32_t os_mode, FMGR_Stream* owner);
  // The device is gone afterwards, whatever the status.
  int32_t (*close)(FMGR_Device* device);
  // Bytes moved, or a negative status.
  int32_t (*read)(FMGR_Device* device, void* buffer, uint32_t count);
  int32_t (*write)(FMGR_Device* device, const void* buffer, uint32_t count);
  int32_t (*seek)(FMGR_Device* device, uint32_t offset_low, uint32_t offset_high, int32_t whence);
  int32_t (*tell)(FMGR_Device* device, uint64_t* position);
  int32_t (*flush)(FMGR_Device* device);
  int32_t (*size)(FMGR_Device* device, uint64_t* size);
  // `path` has the characters that the descriptors of the type have.
  int32_t (*remove)(const void* path);
  // Opens a new file beside the one of `descriptor` and describes it in `*temporary`. The file and the new
  // descriptor vanish when the device is closed.
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

// Opens the device that `descriptor` names; null when its type is unknown or the open fails.
FMGR_Device* open_device(const FMGR_Descriptor& descriptor, uint32_t os_mode, FMGR_Stream* owner);

// The answers of slots that a device type has no use for.
int32_t unsupported_write(FMGR_Device* device, const void* buffer, uint32_t count);
int32_t unsupported_operation(FMGR_Device* device);
int32_t unsupported_remove(const void* path);
FMGR_Device* unsupported_temporary(const FMGR_Descriptor* descriptor, const FMGR_Descriptor** temporary,
                                   FMGR_Stream* owner);
int32_t unsupported_query(FMGR_Device* device, uint64_t* answer);

// A signed 64-bit offset from its two words.
inline int64_t offset_of(uint32_t low, uint32_t high) {
  return static_cast<int64_t>(uint64_t{high} << 32 | low);
}

}  // namespace zdr::fmgr

#endif
