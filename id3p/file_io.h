/*
 * AACF_FileIo: six stdio-style callbacks through which the AAC file reader and the tag parser access a file.
 * OS_fopen, OS_fseek, OS_fread, OS_fwrite, OS_fclose and OS_ftell of the OS layer have these types.
 *
 * Valid as C11 and C++20.
 */
#ifndef ZDR_ID3P_FILE_IO_H
#define ZDR_ID3P_FILE_IO_H

#include <stdint.h>
#ifndef __cplusplus
#include <uchar.h>
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* None may be null, and none may throw. They are called on the thread that calls the reader. */
typedef struct AACF_FileIo {
  /* Returns a handle, null on failure. `mode` is a mode string of the C library. */
  void* (*open)(const char16_t* path, const char* mode);
  /* 0 on success. `offset` is in bytes; `whence` is 0 from the start, 1 from the position, 2 from the end. */
  int32_t (*seek)(void* handle, int32_t offset, int32_t whence);
  /* Returns the number of whole items read, fewer at the end of the file and on failure. */
  uint32_t (*read)(void* buffer, uint32_t size, uint32_t count, void* handle);
  /* Never called. */
  uint32_t (*write)(const void* buffer, uint32_t size, uint32_t count, void* handle);
  int32_t (*close)(void* handle);
  /* Returns the position in bytes, negative on failure or if it does not fit. */
  int32_t (*tell)(void* handle);
} AACF_FileIo;

#ifdef __cplusplus
}
#endif

#endif
