/*
 * FMGR: the file manager through which the ISO media parser reads its input.
 *
 * It hides where the bytes come from behind numbered device types, lets several independent streams share one
 * opened device, serialises access, and can put a cache buffer in front of every stream.
 *
 * Ownership: streams belong to the context that opened them and are closed with FMGR_FClose; a descriptor
 * belongs to the caller, is compared by address (two opens share a device only when they pass the same
 * record) and must outlive every stream opened on it. Threads: different threads may use different streams of
 * one context at the same time, and may open and close streams meanwhile. One stream is used by one thread at
 * a time.
 *
 * Valid as C11 and C++20.
 */
#ifndef ZDR_FMGR_FMGR_H
#define ZDR_FMGR_FMGR_H

#include <stdint.h>
#ifndef __cplusplus
#include <uchar.h>
#endif

#include "os/status.h"

#ifdef __cplusplus
#define FMGR_NOEXCEPT noexcept
extern "C" {
#else
#define FMGR_NOEXCEPT
#endif

/* Device types of a descriptor. */
enum {
  FMGR_DEV_FILE = 100,       /* a file named by a narrow path */
  FMGR_DEV_FILE_W = 101,     /* a file named by a wide path (UTF-16) */
  FMGR_DEV_CALLBACK = 103,   /* the caller's read and size callbacks */
  FMGR_DEV_MEMORY = 104,     /* a block of memory */
  FMGR_DEV_RESERVED = 105,   /* placeholder: never opens */
  FMGR_DEV_FILE_ALT = 106,   /* second implementation of FMGR_DEV_FILE */
  FMGR_DEV_CALLBACK_RW = 201 /* has operations, but the dispatcher never opens it */
};

/* Seek origins. */
enum { FMGR_SEEK_SET = 0, FMGR_SEEK_CURRENT = 1, FMGR_SEEK_END = 2 };

/* Returns 0 and the number of bytes put into `buffer`; anything but 0 fails the read. Callbacks run on the
 * thread that reads or writes, under the lock of the file: they must not use a stream of the same file. */
typedef int32_t (*FMGR_ReadCallback)(void* caller, void* buffer, uint32_t count, uint32_t position_low,
                                     uint32_t position_high, uint32_t* bytes_read);
typedef int32_t (*FMGR_WriteCallback)(void* caller, const void* buffer, uint32_t count, uint32_t position_low,
                                      uint32_t position_high, uint32_t* bytes_written);
/* Returns 0 and the size in bytes. */
typedef int32_t (*FMGR_SizeCallback)(void* caller, uint64_t* size);

/* How a source of bytes is named. `type` decides which member of `source` is read. */
typedef struct FMGR_Descriptor {
  uint32_t type;
  union {
    const char* path;          /* FMGR_DEV_FILE, FMGR_DEV_FILE_ALT */
    const char16_t* wide_path; /* FMGR_DEV_FILE_W */
    struct {
      void* caller; /* not null */
      FMGR_ReadCallback read;
      FMGR_SizeCallback size;
    } callback; /* FMGR_DEV_CALLBACK */
    struct {
      const void* base; /* not copied: it outlives the streams */
      uint32_t size;
    } memory; /* FMGR_DEV_MEMORY */
    struct {
      void* caller;
      FMGR_ReadCallback read;
      FMGR_WriteCallback write;
      FMGR_SizeCallback size;
    } callback_rw; /* FMGR_DEV_CALLBACK_RW */
  } source;
} FMGR_Descriptor;

/* Buffer sizes in bytes. Buffering is on only when both are nonzero. Sizes above 2^31 - 1 count as that. */
typedef struct FMGR_Config {
  uint32_t read_buffer_size;
  uint32_t write_buffer_size;
} FMGR_Config;

typedef struct FMGR_Context FMGR_Context;
typedef struct FMGR_Stream FMGR_Stream;

/* Functions return 0 or a status of os/status.h; the code of a device is passed through where told. A null
 * stream is FMGR_ERR_GENERIC, any other null argument FMGR_ERR_BAD_ARGUMENT. Where a lock of the system
 * fails, its FMGR_ERR_GENERIC is returned and nothing has changed. */

/* Makes a manager, or fails with FMGR_ERR_NO_MEMORY. */
int32_t FMGR_Init(FMGR_Context** context, const FMGR_Config* config) FMGR_NOEXCEPT;
/* Releases a manager and every stream still open in it; no other thread may use either any more. */
int32_t FMGR_Deinit(FMGR_Context* context) FMGR_NOEXCEPT;

/* Opens a stream on `descriptor` with a C mode string ("rb"); null on any failure. After a failed open of a
 * file the platform's last error tells why. */
FMGR_Stream* FMGR_FOpen(const FMGR_Descriptor* descriptor, const char* mode,
                        FMGR_Context* context) FMGR_NOEXCEPT;
/* The stream is gone afterwards, also when closing the device failed and its status is returned. */
int32_t FMGR_FClose(FMGR_Stream* stream) FMGR_NOEXCEPT;

/* Bytes read (0 at the end) or a negative status: a failed seek of the device as it is, a failed read of the
 * device as FMGR_ERR_GENERIC. One call reads at most 2^31 - 1 bytes. A count of 0 is FMGR_ERR_BAD_ARGUMENT.
 * With buffering on, a failing device looks like the end of the data. */
int32_t FMGR_FRead(FMGR_Stream* stream, void* buffer, uint32_t count) FMGR_NOEXCEPT;

/* Sets the position of the stream; the device itself is not asked before the next read. Without buffering
 * this always succeeds, an unknown `whence` changes nothing, and FMGR_FSeek from the end works in 32 bits.
 * With buffering an unknown `whence` is FMGR_ERR_GENERIC. */
int32_t FMGR_FSeek(FMGR_Stream* stream, int32_t offset, int32_t whence) FMGR_NOEXCEPT;
/* The offset is the signed 64-bit number of both words. */
int32_t FMGR_FSeek64(FMGR_Stream* stream, uint32_t offset_low, uint32_t offset_high,
                     int32_t whence) FMGR_NOEXCEPT;
/* FMGR_FSeek64 from the start, whose status it returns, and then FMGR_FRead into `*moved`, with no other user
 * of the file in between. */
int32_t FMGR_FReadAt(FMGR_Stream* stream, uint32_t offset_low, uint32_t offset_high, void* buffer,
                     uint32_t count, int32_t* moved) FMGR_NOEXCEPT;
int32_t FMGR_FTell(FMGR_Stream* stream, uint64_t* position) FMGR_NOEXCEPT;
/* FMGR_ERR_TOO_LARGE when the size does not fit a signed 32-bit number. */
int32_t FMGR_FSize(FMGR_Stream* stream, uint32_t* size) FMGR_NOEXCEPT;
int32_t FMGR_FSize64(FMGR_Stream* stream, uint64_t* size) FMGR_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
