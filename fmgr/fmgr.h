/*
 * FMGR: the file manager, through which the ISO media parser reads its input.
 *
 * A descriptor names a source of bytes: a file, a block of memory, or callbacks. Streams on the same
 * descriptor share one opened device, each with a position of its own. With buffering on, every stream also
 * has a read buffer.
 *
 * Ownership: a stream belongs to the context that opened it, and is closed with FMGR_FClose. A descriptor
 * belongs to the caller and must outlive the streams opened on it. Descriptors are compared by address: two
 * opens share a device only when they pass the same record.
 *
 * Threads: different threads may use different streams of a context at the same time, and open and close
 * streams meanwhile. One thread at a time uses a stream.
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
  FMGR_DEV_RESERVED = 105,   /* a placeholder that never opens */
  FMGR_DEV_FILE_ALT = 106,   /* the same as FMGR_DEV_FILE */
  FMGR_DEV_CALLBACK_RW = 201 /* callbacks for reading and writing; FMGR_FOpen never opens it */
};

/* Seek origins. */
enum { FMGR_SEEK_SET = 0, FMGR_SEEK_CURRENT = 1, FMGR_SEEK_END = 2 };

/* Reads up to `count` bytes at a 64-bit position, given in two words, into `buffer`, and stores their number.
 * Returns 0 on success. Callbacks run on the thread that reads, under the lock of the device: they must not
 * use a stream of the same descriptor. */
typedef int32_t (*FMGR_ReadCallback)(void* caller, void* buffer, uint32_t count, uint32_t position_low,
                                     uint32_t position_high, uint32_t* bytes_read);
typedef int32_t (*FMGR_WriteCallback)(void* caller, const void* buffer, uint32_t count, uint32_t position_low,
                                      uint32_t position_high, uint32_t* bytes_written);
/* Stores the size in bytes. Returns 0 on success. */
typedef int32_t (*FMGR_SizeCallback)(void* caller, uint64_t* size);

/* Names a source of bytes. `type` decides which member of `source` is used. */
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
      const void* base; /* not copied; must outlive the streams */
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

/* Buffer sizes in bytes. Buffering is on when both are nonzero. Sizes above 2^31 - 1 count as 2^31 - 1. */
typedef struct FMGR_Config {
  uint32_t read_buffer_size;
  uint32_t write_buffer_size;
} FMGR_Config;

typedef struct FMGR_Context FMGR_Context;
typedef struct FMGR_Stream FMGR_Stream;

/* Functions return 0 or a status of os/status.h; where a declaration says so, the status of the device. A
 * null stream is FMGR_ERR_GENERIC, any other null argument FMGR_ERR_BAD_ARGUMENT. A failing mutex of the
 * system is FMGR_ERR_GENERIC, and then nothing has changed. */

/* Makes a manager. FMGR_ERR_NO_MEMORY on failure, with `*context` null. */
int32_t FMGR_Init(FMGR_Context** context, const FMGR_Config* config) FMGR_NOEXCEPT;
/* Closes every open stream of a manager and releases it. No other thread may use them any more. */
int32_t FMGR_Deinit(FMGR_Context* context) FMGR_NOEXCEPT;

/* Opens a stream on `descriptor` with a C mode string ("rb"). Null on failure; for a file the last error of
 * the platform then holds the reason. */
FMGR_Stream* FMGR_FOpen(const FMGR_Descriptor* descriptor, const char* mode,
                        FMGR_Context* context) FMGR_NOEXCEPT;
/* Releases the stream. When it was the last stream of its device, closes the device and returns the status of
 * that. */
int32_t FMGR_FClose(FMGR_Stream* stream) FMGR_NOEXCEPT;

/* Reads at the position of the stream, and advances it. Returns the number of bytes, 0 at the end, or a
 * negative status: that of the device for a failed seek, FMGR_ERR_GENERIC for a failed read. A count of 0 is
 * FMGR_ERR_BAD_ARGUMENT. One call reads at most 2^31 - 1 bytes. With buffering on, a failing device looks
 * like the end of the data. */
int32_t FMGR_FRead(FMGR_Stream* stream, void* buffer, uint32_t count) FMGR_NOEXCEPT;

/* Sets the position of the stream; the device moves at the next read. `whence` is an FMGR_SEEK_ origin.
 * Without buffering this always succeeds, an unknown `whence` changes nothing, and the sum of an offset from
 * the end wraps at 32 bits. With buffering an unknown `whence` is FMGR_ERR_GENERIC. */
int32_t FMGR_FSeek(FMGR_Stream* stream, int32_t offset, int32_t whence) FMGR_NOEXCEPT;
/* As FMGR_FSeek, with a signed 64-bit offset in two words, and no wrapping. */
int32_t FMGR_FSeek64(FMGR_Stream* stream, uint32_t offset_low, uint32_t offset_high,
                     int32_t whence) FMGR_NOEXCEPT;
/* FMGR_FSeek64 from the start and FMGR_FRead as one step, with no other user of the device in between.
 * Returns the status of the seek; after success `*moved` is the result of the read. */
int32_t FMGR_FReadAt(FMGR_Stream* stream, uint32_t offset_low, uint32_t offset_high, void* buffer,
                     uint32_t count, int32_t* moved) FMGR_NOEXCEPT;
/* Stores the position of the stream in bytes. */
int32_t FMGR_FTell(FMGR_Stream* stream, uint64_t* position) FMGR_NOEXCEPT;
/* Store the size of the device in bytes, or return its status. The first is FMGR_ERR_TOO_LARGE, with a size
 * of 0, when the size does not fit a signed 32-bit number. */
int32_t FMGR_FSize(FMGR_Stream* stream, uint32_t* size) FMGR_NOEXCEPT;
int32_t FMGR_FSize64(FMGR_Stream* stream, uint64_t* size) FMGR_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
