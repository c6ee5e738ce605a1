/*
 * Status codes shared by the OS layer (os.h) and the file manager (fmgr.h): 0 is success, failures are
 * negative.
 *
 * Valid as C11 and C++20.
 */
#ifndef ZDR_OS_STATUS_H
#define ZDR_OS_STATUS_H

enum {
  FMGR_OK = 0,
  FMGR_ERR_GENERIC = -6001,      /* delete, flush, close, size, free space or mutex failed; null stream */
  FMGR_ERR_NO_MEMORY = -6002,    /* out of memory or of another system resource */
  FMGR_ERR_TOO_LARGE = -6003,    /* a size that does not fit a signed 32-bit number */
  FMGR_ERR_READ = -6006,         /* the read of the system failed */
  FMGR_ERR_OPEN = -6007,         /* the open failed, or its mode is out of range */
  FMGR_ERR_BAD_ARGUMENT = -6009, /* null argument, or a count of 0 where that is not allowed */
  FMGR_ERR_WRITE = -6010,        /* the write of the system failed */
  FMGR_ERR_SEEK = -6012,         /* seek or tell failed */
  FMGR_ERR_NOT_SUPPORTED = -6015 /* the device type does not have the operation */
};

#endif
