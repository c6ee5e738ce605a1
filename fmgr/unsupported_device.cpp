// The placeholder device FMGR_DEV_RESERVED, and the functions for operations that a device type does not
// have.
#include "fmgr/device.h"

namespace zdr::fmgr {

int32_t unsupported_write(FMGR_Device*, const void*, uint32_t) {
  return FMGR_ERR_NOT_SUPPORTED;
}

int32_t unsupported_operation(FMGR_Device*) {
  return FMGR_ERR_NOT_SUPPORTED;
}

int32_t unsupported_remove(const void*) {
  return FMGR_ERR_NOT_SUPPORTED;
}

FMGR_Device* unsupported_temporary(const FMGR_Descriptor*, const FMGR_Descriptor**, FMGR_Stream*) {
  return nullptr;
}

int32_t unsupported_query(FMGR_Device*, uint64_t*) {
  return FMGR_ERR_NOT_SUPPORTED;
}

namespace {

FMGR_Device* refuse_open(const FMGR_Descriptor*, uint32_t, FMGR_Stream*) {
  return nullptr;
}

int32_t refuse_read(FMGR_Device*, void*, uint32_t) {
  return FMGR_ERR_NOT_SUPPORTED;
}

int32_t refuse_seek(FMGR_Device*, uint32_t, uint32_t, int32_t) {
  return FMGR_ERR_NOT_SUPPORTED;
}

}  // namespace

constinit const FMGR_DeviceOps kReservedOps = {
    .open = &refuse_open,
    .close = &unsupported_operation,
    .read = &refuse_read,
    .write = &unsupported_write,
    .seek = &refuse_seek,
    .tell = &unsupported_query,
    .flush = &unsupported_operation,
    .size = &unsupported_query,
    .remove = &unsupported_remove,
    .create_temporary = &unsupported_temporary,
    .free_space = &unsupported_query,
    .unused = nullptr,
};

}  // namespace zdr::fmgr
