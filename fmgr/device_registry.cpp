// The device types, and which of them can be opened.
#include <cstddef>

#include "fmgr/device.h"

namespace zdr::fmgr {
namespace {

struct DeviceType {
  uint32_t type;
  const FMGR_DeviceOps* ops;
};

constexpr uint32_t kFirstType = FMGR_DEV_FILE;
constexpr uint32_t kLastType = FMGR_DEV_FILE_ALT;

constexpr DeviceType kDevices[] = {
    {FMGR_DEV_FILE, &kFileOps},         {FMGR_DEV_FILE_W, &kWideFileOps}, {FMGR_DEV_CALLBACK, &kCallbackOps},
    {FMGR_DEV_RESERVED, &kReservedOps}, {FMGR_DEV_MEMORY, &kMemoryOps},   {FMGR_DEV_FILE_ALT, &kFileOps},
};

constexpr DeviceType kExtendedDevices[] = {
    {FMGR_DEV_FILE, &kFileOps},
    {FMGR_DEV_FILE_W, &kWideFileOps},
    {FMGR_DEV_CALLBACK_RW, &kCallbackReadWriteOps},
    {FMGR_DEV_FILE_ALT, &kFileOps},
};

template <size_t kCount>
const FMGR_DeviceOps* find(const DeviceType (&devices)[kCount], uint32_t type) {
  for (const DeviceType& device : devices) {
    if (device.type == type) return device.ops;
  }
  return nullptr;
}

const FMGR_DeviceOps* find_ops(uint32_t type) {
  if (type < kFirstType) return nullptr;
  if (type <= kLastType) return find(kDevices, type);
  // Kept: this tests the range of the first list again, so the extended list is never searched.
  if (type >= kFirstType && type <= kLastType) return find(kExtendedDevices, type);
  return nullptr;
}

}  // namespace

FMGR_Device* open_device(const FMGR_Descriptor& descriptor, uint32_t os_mode, FMGR_Stream* owner) {
  const FMGR_DeviceOps* ops = find_ops(descriptor.type);
  return ops != nullptr ? ops->open(&descriptor, os_mode, owner) : nullptr;
}

}  // namespace zdr::fmgr
