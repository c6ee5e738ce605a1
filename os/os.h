/*
 * OS layer: files, mutexes, memory, text and threads of the platform, with two interfaces.
 *
 * The status-returning interface (OS_FileOpen, OS_MutexLock, ...) serves the devices of the file manager. Its
 * functions return 0 or a code of os/status.h, and results through pointers. Those that take a path exist
 * twice, for narrow paths (bytes of the file system, UTF-8 here) and, with a trailing W, for wide paths
 * (UTF-16); both behave alike.
 *
 * The stdio-style interface (OS_fopen, OS_fread, ...) serves the readers of elementary streams. Its results
 * follow the C library.
 *
 * Handles are opaque pointers, never null, and owned by the caller, who closes them. A file handle carries
 * the file position, so one thread at a time uses it; different handles are independent. Only the thread
 * facility keeps state between calls.
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

/* --- Files, status-returning interface --- */

/* Open modes: the access, what other handles may do meanwhile, and what happens to an existing or a missing
 * file. */
enum {
  OS_OPEN_READ = 0,             /* read; others may read; the file must exist */
  OS_OPEN_READWRITE = 1,        /* read and write; others may do both; created when missing */
  OS_OPEN_WRITE = 2,            /* write; others may write; created or emptied */
  OS_OPEN_CREATE_READWRITE = 3, /* read and write; others may do both; created or emptied */
  OS_OPEN_APPEND = 4 /* read and write; others may write; created when missing; starts at the end */
};

/* Seek origins; any other value of `whence` counts as OS_SEEK_BEGIN. */
enum { OS_SEEK_BEGIN = 0, OS_SEEK_CURRENT = 1, OS_SEEK_END = 2 };

/* Opens a file in one of the OS_OPEN_ modes. FMGR_ERR_OPEN when that fails, and for a mode above
 * OS_OPEN_APPEND; `*handle` is then null. The last error of the platform holds the reason. */
int32_t OS_FileOpen(void** handle, const char* path, uint32_t mode) OS_NOEXCEPT;
int32_t OS_FileOpenW(void** handle, const char16_t* path, uint32_t mode) OS_NOEXCEPT;

/* Reads at the file position, and moves it. Fewer bytes than `count` mean the end of the file, which is not
 * an error. A count of 0 succeeds without touching the file. */
int32_t OS_FileRead(void* handle, void* buffer, uint32_t count, uint32_t* bytes_read) OS_NOEXCEPT;
/* Writes at the file position, and moves it. A count of 0 is FMGR_ERR_BAD_ARGUMENT, unlike in OS_FileRead. */
int32_t OS_FileWrite(void* handle, const void* buffer, uint32_t count, uint32_t* bytes_written) OS_NOEXCEPT;
/* Moves the file position; both words together are one signed 64-bit offset. A position beyond the end is
 * allowed, one before the start is FMGR_ERR_SEEK and moves nothing. */
int32_t OS_FileSeek(void* handle, uint32_t offset_low, uint32_t offset_high, int32_t whence) OS_NOEXCEPT;
/* Stores the file position in bytes; 0 for positions of 4 GiB and more. */
int32_t OS_FileTell(void* handle, uint64_t* position) OS_NOEXCEPT;
/* Stores the size in bytes, 0 on failure. */
int32_t OS_FileSize(void* handle, uint64_t* size) OS_NOEXCEPT;
int32_t OS_FileFlush(void* handle) OS_NOEXCEPT;
int32_t OS_FileClose(void* handle) OS_NOEXCEPT;

int32_t OS_FileDelete(const char* path) OS_NOEXCEPT;
int32_t OS_FileDeleteW(const char16_t* path) OS_NOEXCEPT;

/* Stores the free bytes of the volume that holds the folder of `path`; the file itself need not exist. */
int32_t OS_DiskFreeBytes(const char* path, uint64_t* bytes) OS_NOEXCEPT;
int32_t OS_DiskFreeBytesW(const char16_t* path, uint64_t* bytes) OS_NOEXCEPT;

typedef void (*OS_ReleaseFunction)(void* block);
/* Returns `path` followed by ".tmp" as a new string, which the caller releases with `*release`. Null if out
 * of memory, and for null arguments. */
char* OS_TempName(const char* path, OS_ReleaseFunction* release) OS_NOEXCEPT;
char16_t* OS_TempNameW(const char16_t* path, OS_ReleaseFunction* release) OS_NOEXCEPT;

/* --- Mutexes and memory --- */

/* Makes a recursive mutex: its owner may lock it again. Null on failure. */
void* OS_MutexCreate(void) OS_NOEXCEPT;
/* Waits without a limit. A mutex whose owner ended without unlocking it is locked like any other. */
int32_t OS_MutexLock(void* mutex) OS_NOEXCEPT;
/* FMGR_ERR_GENERIC when the calling thread is not the owner. */
int32_t OS_MutexUnlock(void* mutex) OS_NOEXCEPT;
int32_t OS_MutexDestroy(void* mutex) OS_NOEXCEPT;

/* malloc and free of the C library: blocks may cross the boundaries of libraries. */
void* OS_Malloc(size_t size) OS_NOEXCEPT;
void OS_Free(void* block) OS_NOEXCEPT;

/* --- Files, stdio-style interface --- */

/* Opens a file. `mode` is a mode string of the C library; an empty one means "w". Null on failure. Other
 * handles may read the file meanwhile, not write it. "a" and "a+" start at the end of the file; "ab", "a+b"
 * and "ab+" start at 0. */
void* OS_fopen(const char16_t* path, const char* mode) OS_NOEXCEPT;
/* Return the number of whole items moved, 0 on failure. One call moves at most 2^32 - 1 bytes. */
uint32_t OS_fread(void* buffer, uint32_t size, uint32_t count, void* handle) OS_NOEXCEPT;
uint32_t OS_fwrite(const void* buffer, uint32_t size, uint32_t count, void* handle) OS_NOEXCEPT;
/* `whence` is an OS_SEEK_ origin. 0, or 1 on failure. */
int32_t OS_fseek(void* handle, int32_t offset, int32_t whence) OS_NOEXCEPT;
/* Returns the position, or -1 on failure and for positions of 2 GiB and more. */
int32_t OS_ftell(void* handle) OS_NOEXCEPT;
/* 0, or -1 on failure. */
int32_t OS_fclose(void* handle) OS_NOEXCEPT;

/* Stores the bytes that the caller may still use on the volume of a folder as two words, the high one first.
 * The folder is `path` up to its last backslash; without a backslash it is the current volume. 0, or -1 on
 * failure. */
int32_t OS_GetFreeSpace(uint32_t free_bytes[2], const char16_t* path) OS_NOEXCEPT;
/* Returns a path for a temporary file, never null. It lies in one buffer of the library, which any call may
 * overwrite: for one thread at a time. */
char16_t* OS_GetTempFilePath(void) OS_NOEXCEPT;
/* Deletes a file; `path` is text of the ANSI code page. Nonzero on success. */
int32_t OS_DeleteFileMB(const char* path) OS_NOEXCEPT;

/* --- Text --- */

/* Converts text of the ANSI code page (windows-1252), up to and including its zero byte, to UTF-16. At most
 * `size` units are written; a longer text is cut there, without a terminator. Null arguments do nothing. */
void OS_AnsiToWide(const char* text, char16_t* wide, uint32_t size) OS_NOEXCEPT;

/* --- Threads --- */

typedef uint32_t (*OS_ThreadRoutine)(void* argument);

/* Sets the facility up, once before the first thread is created; further calls before OS_ThreadShutdown do
 * nothing. 0 or FMGR_ERR_GENERIC. */
int32_t OS_ThreadInit(void) OS_NOEXCEPT;
/* Releases what OS_ThreadInit made. Every created thread must have entered its routine. */
int32_t OS_ThreadShutdown(void) OS_NOEXCEPT;
/* Starts a thread. `stack_size` is in bytes, 0 for the default; `flags` must be 0. Returns a handle, which
 * the caller closes with CloseHandle. Null on failure, and while 32 created threads have not entered their
 * routine yet. */
void* OS_ThreadCreate(OS_ThreadRoutine routine, void* argument, uint32_t stack_size,
                      uint32_t flags) OS_NOEXCEPT;
/* Sets one of the THREAD_PRIORITY_ values of the platform. -1 on success, 0 on failure. */
int32_t OS_ThreadSetPriority(void* thread, int32_t priority) OS_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
