// Files: open with share modes, read, write, seek, size, flush, delete.
// A-names are UTF-8, W-names UTF-16; `/` and `\` both separate. Names are case-sensitive.
// Every function may be called from any thread; calls on one handle are serialised inside.
#ifndef ZDR_WIN32_FILES_H
#define ZDR_WIN32_FILES_H

#include "win32_types.h"

#define GENERIC_READ 0x80000000u
#define GENERIC_WRITE 0x40000000u

#define FILE_SHARE_READ 1u
#define FILE_SHARE_WRITE 2u
#define FILE_SHARE_DELETE 4u

#define CREATE_ALWAYS 2u
#define OPEN_EXISTING 3u
#define OPEN_ALWAYS 4u

#define FILE_ATTRIBUTE_NORMAL 0x00000080u

#define FILE_BEGIN 0u
#define FILE_CURRENT 1u
#define FILE_END 2u
#define INVALID_SET_FILE_POINTER 0xFFFFFFFFu
#define INVALID_FILE_SIZE 0xFFFFFFFFu

// INVALID_HANDLE_VALUE (never null) on failure. On success the last error is 0, or 183 (ERROR_ALREADY_EXISTS)
// when CREATE_ALWAYS or OPEN_ALWAYS found an existing file. Failures: 2 missing file, 3 missing folder, 4
// too many open files, 5 folder, no permission or read-only file, 32 sharing conflict in either direction,
// 112 disk full, 206 name too long, 87 an access, disposition, flag or attribute other than those above, or
// no access. `security` and `template_file` have no effect.
ZDR_WIN32 HANDLE CreateFileA(LPCSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                             DWORD disposition, DWORD flags_and_attributes,
                             HANDLE template_file) ZDR_NOEXCEPT;
ZDR_WIN32 HANDLE CreateFileW(LPCWSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                             DWORD disposition, DWORD flags_and_attributes,
                             HANDLE template_file) ZDR_NOEXCEPT;

// Blocks until all bytes have moved, the file ends, or an error occurs. At or past the end: TRUE with *got ==
// 0. Failures: 5 the handle lacks the access, 6 bad handle, 87 a null pointer to the count, or an
// `overlapped`, which is not supported, 112 disk full, 1117 device error. After a failure the count is the
// number of bytes that moved before it.
ZDR_WIN32 BOOL ReadFile(HANDLE file, LPVOID buffer, DWORD count, LPDWORD got,
                        LPOVERLAPPED overlapped) ZDR_NOEXCEPT;
ZDR_WIN32 BOOL WriteFile(HANDLE file, LPCVOID buffer, DWORD count, LPDWORD put,
                         LPOVERLAPPED overlapped) ZDR_NOEXCEPT;

// With `high`, the distance is the 64-bit *high:low, and *high receives the high word of the new position.
// Without it, `low` is a signed 32-bit distance, and the new position must fit 32 bits (else 87). A valid low
// word of 0xFFFFFFFF comes with last error NO_ERROR. Failures: 6, 87 bad method, 131 before the start (the
// position stays), 132 not a disk file.
ZDR_WIN32 DWORD SetFilePointer(HANDLE file, LONG low, PLONG high, DWORD method) ZDR_NOEXCEPT;
// Returns the low word of the size. A valid low word of 0xFFFFFFFF comes with last error NO_ERROR.
ZDR_WIN32 DWORD GetFileSize(HANDLE file, LPDWORD high) ZDR_NOEXCEPT;
// Returns when the data is on the device; needs write access (else 5).
ZDR_WIN32 BOOL FlushFileBuffers(HANDLE file) ZDR_NOEXCEPT;

// Failures: 2 missing file, 3 missing folder, 5 folder or read-only file, 32 open without
// FILE_SHARE_DELETE.
ZDR_WIN32 BOOL DeleteFileA(LPCSTR name) ZDR_NOEXCEPT;
ZDR_WIN32 BOOL DeleteFileW(LPCWSTR name) ZDR_NOEXCEPT;

#endif
