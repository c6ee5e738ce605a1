/*
 * Status codes shared by the OS layer and the file manager: 0 is success, everything else is negative.
 *
 * They stand in a header of their own because both public headers use them and neither needs the rest of the
 * other. Valid as C11 and C++20.
 */
#ifndef ZDR_OS_STATUS_H
#define ZDR_OS_STATUS_H

enum {
  FMGR_OK = 0,
  FMGR_ERR_GENERIC = -6001,      /* delete, flush, close, size, free space, mutex; null stream */
  FMGR_ERR_NO_MEMORY = -6002,    /* out of memory, or of another resource of the system */
  FMGR_ERR_TOO_LARGE = -6003,    /* a size that does not fit a signed 32-bit number */
  FMGR_ERR_READ = -6006,         /* the system's read failed */
  FMGR_ERR_OPEN = -6007,         /* the open failed, or its mode is out of range */
  FMGR_ERR_BAD_ARGUMENT = -6009, /* null handle or out-parameter, count of 0 where one is needed */
  FMGR_ERR_WRITE = -6010,        /* the system's write failed */
  FMGR_ERR_SEEK = -6012,         /* seek or tell failed */
  FMGR_ERR_NOT_SUPPORTED = -6015 /* an operation that the device type does not have */
};

#endif
