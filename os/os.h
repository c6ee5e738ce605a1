/*
 * OS layer: files, mutexes, memory and threads of the platform behind one status convention.
 *
 * Two faces. The status-returning face (OS_FileOpen, OS_MutexLock, ...) serves the devices of the file
 * manager: every function returns 0 or a code of os/status.h and delivers results through out-parameters. The
 * functions that take a path exist twice, for narrow paths (file-system bytes, UTF-8 here) and, with a
 * trailing W, for wide paths (UTF-16); both behave alike. The stdio-style face (OS_fopen, OS_fread, ...)
 * serves the elementary-stream readers and answers as the C library does.
 *
 * Handles are opaque pointers; null is no handle. Everything runs on the calling thread, and apart from the
 * thread facility nothing is kept between calls but the handles. One file handle is used by one thread at a
 * time, because it carries the file position.
 *
 * Valid as C11 and C++20.
 */
#ifndef ZDR_OS_OS_H
#define ZDR_OS_OS_H

#include <stddef.h>
#include <stdint.h>
#ifndef __cplusplus
#include <uchar.h>
#endif

#include "os/status.h"

#ifdef __cplusplus
#define OS_NOEXCEPT noexcept
extern "C" {
#else
#define OS_NOEXCEPT
#endif

/* --- Files, status-returning face --- */

/* Open modes: access, what other handles may do meanwhile, and what happens to a file that exists or not. */
enum {
  OS_OPEN_READ = 0,             /* read; others may read; the file must exist */
  OS_OPEN_READWRITE = 1,        /* read and write; others may do both; created when missing */
  OS_OPEN_WRITE = 2,            /* write; others may write; created or emptied */
  OS_OPEN_CREATE_READWRITE = 3, /* read and write; others may do both; created or emptied */
  OS_OPEN_APPEND = 4 /* read and write; others may write; created when missing; starts at the end */
};

/* Seek origins; any other value of `whence` counts as OS_SEEK_BEGIN. */
enum { OS_SEEK_BEGIN = 0, OS_SEEK_CURRENT = 1, OS_SEEK_END = 2 };

/* FMGR_ERR_OPEN when the open fails or the mode is above OS_OPEN_APPEND; `*handle` is null then. */
int32_t OS_FileOpen(void** handle, const char* path, uint32_t mode) OS_NOEXCEPT;
int32_t OS_FileOpenW(void** handle, const char16_t* path, uint32_t mode) OS_NOEXCEPT;

/* A short count is the end of the file, not an error. A count of 0 succeeds without a look at the file. */
int32_t OS_FileRead(void* handle, void* buffer, uint32_t count, uint32_t* bytes_read) OS_NOEXCEPT;
/* A count of 0 is FMGR_ERR_BAD_ARGUMENT, unlike in OS_FileRead. */
int32_t OS_FileWrite(void* handle, const void* buffer, uint32_t count, uint32_t* bytes_written) OS_NOEXCEPT;
/* The offset is the signed 64-bit number of both words. */
int32_t OS_FileSeek(void* handle, uint32_t offset_low, uint32_t offset_high, int32_t whence) OS_NOEXCEPT;
/* Positions of 4 GiB and above are told as 0. */
int32_t OS_FileTell(void* handle, uint64_t* position) OS_NOEXCEPT;
int32_t OS_FileSize(void* handle, uint64_t* size) OS_NOEXCEPT;
int32_t OS_FileFlush(void* handle) OS_NOEXCEPT;
int32_t OS_FileClose(void* handle) OS_NOEXCEPT;

int32_t OS_FileDelete(const char* path) OS_NOEXCEPT;
int32_t OS_FileDeleteW(const char16_t* path) OS_NOEXCEPT;

/* Free bytes of the volume that holds the directory of `path`; the file itself need not exist. */
int32_t OS_DiskFreeBytes(const char* path, uint64_t* bytes) OS_NOEXCEPT;
int32_t OS_DiskFreeBytesW(const char16_t* path, uint64_t* bytes) OS_NOEXCEPT;

typedef void (*OS_ReleaseFunction)(void* block);
/* A new string, `path` followed by ".tmp", to be released with `*release`; null when out of memory. */
char* OS_TempName(const char* path, OS_ReleaseFunction* release) OS_NOEXCEPT;
char16_t* OS_TempNameW(const char16_t* path, OS_ReleaseFunction* release) OS_NOEXCEPT;

/* --- Mutexes and memory --- */

/* A recursive mutex: its owner may lock it again. Null on failure. */
void* OS_MutexCreate(void) OS_NOEXCEPT;
/* A mutex whose owner ended without unlocking it is handed over like any other. */
int32_t OS_MutexLock(void* mutex) OS_NOEXCEPT;
int32_t OS_MutexUnlock(void* mutex) OS_NOEXCEPT;
int32_t OS_MutexDestroy(void* mutex) OS_NOEXCEPT;

void* OS_Malloc(size_t size) OS_NOEXCEPT;
void OS_Free(void* block) OS_NOEXCEPT;

/* --- Files, stdio-style face --- */

/* `mode` is one of the C mode strings; an empty one means "w". Null on failure. While a file is open, others
 * may read it. Only "a" and "a+" start at the end of the file; "ab", "a+b" and "ab+" start at 0. */
void* OS_fopen(const char16_t* path, const char* mode) OS_NOEXCEPT;
/* Whole items moved; 0 on failure. One transfer moves at most 2^32 - 1 bytes. */
uint32_t OS_fread(void* buffer, uint32_t size, uint32_t count, void* handle) OS_NOEXCEPT;
uint32_t OS_fwrite(const void* buffer, uint32_t size, uint32_t count, void* handle) OS_NOEXCEPT;
/* 0, or 1 on failure. */
int32_t OS_fseek(void* handle, int32_t offset, int32_t whence) OS_NOEXCEPT;
/* The position, or -1 on failure and at 2 GiB and above. */
int32_t OS_ftell(void* handle) OS_NOEXCEPT;
/* 0, or -1 on failure. */
int32_t OS_fclose(void* handle) OS_NOEXCEPT;

/* Free bytes for the caller on the volume that holds the directory of `path` (all up to its last backslash;
 * the current volume when it has none), as two words, the high one first. 0, or -1 on failure. */
int32_t OS_GetFreeSpace(uint32_t free_bytes[2], const char16_t* path) OS_NOEXCEPT;
/* The path for a temporary file, never null, in one buffer of the library that a call may write anew: not for
 * two threads at a time. */
char16_t* OS_GetTempFilePath(void) OS_NOEXCEPT;
/* `path` is text of the ANSI code page. Nonzero on success. */
int32_t OS_DeleteFileMB(const char* path) OS_NOEXCEPT;

/* --- Text --- */

/* Text of the ANSI code page (windows-1252) up to its zero byte, as UTF-16. At most `size` units are written;
 * a longer text is cut there, without terminator. */
void OS_AnsiToWide(const char* text, char16_t* wide, uint32_t size) OS_NOEXCEPT;

/* --- Threads --- */

typedef uint32_t (*OS_ThreadRoutine)(void* argument);

/* Makes the start table; at most 32 threads can be on their way between OS_ThreadCreate and their routine. 0
 * or FMGR_ERR_GENERIC; a further call before the shutdown does nothing. */
int32_t OS_ThreadInit(void) OS_NOEXCEPT;
/* No thread may be on its way any more. */
int32_t OS_ThreadShutdown(void) OS_NOEXCEPT;
/* `stack_size` 0 is the default size, `flags` are those of the platform. A handle, to be closed by the
 * caller, or null on failure. */
void* OS_ThreadCreate(OS_ThreadRoutine routine, void* argument, uint32_t stack_size,
                      uint32_t flags) OS_NOEXCEPT;
/* -1 when the priority was set, 0 when it was not. */
int32_t OS_ThreadSetPriority(void* thread, int32_t priority) OS_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
