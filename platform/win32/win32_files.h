// Files: open with share modes, read, write, seek, size, flush, delete.
// A-names are UTF-8, W-names UTF-16; `/` and `\` both separate. Names are case-sensitive.
// Every function may be called from any thread; calls on one handle are serialised inside.
#pragma once

#include "win32_types.h"

#define GENERIC_READ 0x80000000u
#define GENERIC_WRITE 0x40000000u
#define GENERIC_EXECUTE 0x20000000u
#define GENERIC_ALL 0x10000000u
#define DELETE 0x00010000u
#define SYNCHRONIZE 0x00100000u
#define MAXIMUM_ALLOWED 0x02000000u
#define FILE_READ_DATA 0x0001u
#define FILE_WRITE_DATA 0x0002u
#define FILE_APPEND_DATA 0x0004u

#define FILE_SHARE_READ 1u
#define FILE_SHARE_WRITE 2u
#define FILE_SHARE_DELETE 4u

#define CREATE_NEW 1u
#define CREATE_ALWAYS 2u
#define OPEN_EXISTING 3u
#define OPEN_ALWAYS 4u
#define TRUNCATE_EXISTING 5u

#define FILE_ATTRIBUTE_READONLY 0x00000001u
#define FILE_ATTRIBUTE_HIDDEN 0x00000002u
#define FILE_ATTRIBUTE_SYSTEM 0x00000004u
#define FILE_ATTRIBUTE_DIRECTORY 0x00000010u
#define FILE_ATTRIBUTE_ARCHIVE 0x00000020u
#define FILE_ATTRIBUTE_NORMAL 0x00000080u
#define FILE_ATTRIBUTE_TEMPORARY 0x00000100u
#define INVALID_FILE_ATTRIBUTES 0xFFFFFFFFu

#define FILE_FLAG_WRITE_THROUGH 0x80000000u
#define FILE_FLAG_OVERLAPPED 0x40000000u
#define FILE_FLAG_NO_BUFFERING 0x20000000u
#define FILE_FLAG_RANDOM_ACCESS 0x10000000u
#define FILE_FLAG_SEQUENTIAL_SCAN 0x08000000u
#define FILE_FLAG_DELETE_ON_CLOSE 0x04000000u
#define FILE_FLAG_BACKUP_SEMANTICS 0x02000000u

#define FILE_BEGIN 0u
#define FILE_CURRENT 1u
#define FILE_END 2u
#define INVALID_SET_FILE_POINTER 0xFFFFFFFFu
#define INVALID_FILE_SIZE 0xFFFFFFFFu

// INVALID_HANDLE_VALUE (never NULL) on failure. On success the last error is 0, or 183 (ERROR_ALREADY_EXISTS)
// when CREATE_ALWAYS or OPEN_ALWAYS met an existing file. Failures: 2 and 3 missing file and missing
// directory, 4 too many open files, 5 directory or no permission or read-only, 32 sharing conflict in either
// direction, 80 CREATE_NEW on an existing file, 87 bad disposition or flags, 112 disk full, 206 name too
// long.
ZDR_WIN32 HANDLE CreateFileA(LPCSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                             DWORD disposition, DWORD flags_and_attributes,
                             HANDLE template_file) ZDR_NOEXCEPT;
ZDR_WIN32 HANDLE CreateFileW(LPCWSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                             DWORD disposition, DWORD flags_and_attributes,
                             HANDLE template_file) ZDR_NOEXCEPT;

// Blocks until all bytes moved, the end is met, or an error. At or past the end: TRUE with *got == 0 (with an
// OVERLAPPED: FALSE with 38). Failures: 5 handle lacks the access, 6 bad handle, 87 no place for the count,
// 112 disk full, 1117 device error; the count then tells what moved before.
ZDR_WIN32 BOOL ReadFile(HANDLE file, LPVOID buffer, DWORD count, LPDWORD got, LPOVERLAPPED at) ZDR_NOEXCEPT;
ZDR_WIN32 BOOL WriteFile(HANDLE file, LPCVOID buffer, DWORD count, LPDWORD put, LPOVERLAPPED at) ZDR_NOEXCEPT;

// With `high` the distance is the 64-bit *high:low and *high receives the new high word; without it `low` is
// a signed 32-bit distance and the new position must fit 32 bits (else 87). A legal low word of 0xFFFFFFFF
// comes with last error NO_ERROR. Failures: 6, 87 bad method, 131 before the start (pointer not moved), 132
// not a disk file.
ZDR_WIN32 DWORD SetFilePointer(HANDLE file, LONG low, PLONG high, DWORD method) ZDR_NOEXCEPT;
ZDR_WIN32 BOOL SetFilePointerEx(HANDLE file, LARGE_INTEGER distance, PLARGE_INTEGER position,
                                DWORD method) ZDR_NOEXCEPT;
// Low word, with NO_ERROR set when a legal size has the low word 0xFFFFFFFF.
ZDR_WIN32 DWORD GetFileSize(HANDLE file, LPDWORD high) ZDR_NOEXCEPT;
ZDR_WIN32 BOOL GetFileSizeEx(HANDLE file, PLARGE_INTEGER size) ZDR_NOEXCEPT;
// Cuts or extends the file to the handle's position; needs write access.
ZDR_WIN32 BOOL SetEndOfFile(HANDLE file) ZDR_NOEXCEPT;
// Returns when the data is on the device; needs write access (else 5).
ZDR_WIN32 BOOL FlushFileBuffers(HANDLE file) ZDR_NOEXCEPT;

// Missing file 2, missing directory 3, directory or read-only file 5, open without FILE_SHARE_DELETE 32.
ZDR_WIN32 BOOL DeleteFileA(LPCSTR name) ZDR_NOEXCEPT;
ZDR_WIN32 BOOL DeleteFileW(LPCWSTR name) ZDR_NOEXCEPT;

// FILE_ATTRIBUTE_* of a name, INVALID_FILE_ATTRIBUTES with 2 or 3 when it is missing.
ZDR_WIN32 DWORD GetFileAttributesA(LPCSTR name) ZDR_NOEXCEPT;
ZDR_WIN32 DWORD GetFileAttributesW(LPCWSTR name) ZDR_NOEXCEPT;
