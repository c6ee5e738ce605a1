// Paths, temporary names, disk space, and the file of a module. Results use `/`.
#ifndef ZDR_WIN32_PATHS_H
#define ZDR_WIN32_PATHS_H

#include "win32_types.h"

// Joins the name with the current folder and folds `.` and `..`, without looking at any file. Returns the
// length without NUL on success, the size needed with NUL when the buffer is too small, 0 on failure. *last
// (if given) points at the last component inside the buffer, or is null if the path ends in a separator.
ZDR_WIN32 DWORD GetFullPathNameA(LPCSTR name, DWORD size, LPSTR buffer, LPSTR* last) ZDR_NOEXCEPT;
ZDR_WIN32 DWORD GetFullPathNameW(LPCWSTR name, DWORD size, LPWSTR buffer, LPWSTR* last) ZDR_NOEXCEPT;

// The folder of TMP, TEMP, USERPROFILE or TMPDIR, else the system's; it ends with a separator and may not
// exist. Lengths as for GetFullPathName.
ZDR_WIN32 DWORD GetTempPathW(DWORD size, LPWSTR buffer) ZDR_NOEXCEPT;

// `buffer` has MAX_PATH places. unique != 0 only builds the name; 0 finds a free one and creates the empty
// file. Returns the number in the name, 0 on failure: 87 null, 111 folder too long, 267 missing folder.
ZDR_WIN32 UINT GetTempFileNameW(LPCWSTR directory, LPCWSTR prefix, UINT unique, LPWSTR buffer) ZDR_NOEXCEPT;

// Any folder of the volume, null for the current one; cluster counts are clamped to 32 bits.
ZDR_WIN32 BOOL GetDiskFreeSpaceA(LPCSTR root, LPDWORD sectors_per_cluster, LPDWORD bytes_per_sector,
                                 LPDWORD free_clusters, LPDWORD total_clusters) ZDR_NOEXCEPT;
ZDR_WIN32 BOOL GetDiskFreeSpaceW(LPCWSTR root, LPDWORD sectors_per_cluster, LPDWORD bytes_per_sector,
                                 LPDWORD free_clusters, LPDWORD total_clusters) ZDR_NOEXCEPT;
// In bytes; each out-pointer may be null. 3 for a missing folder.
ZDR_WIN32 BOOL GetDiskFreeSpaceExW(LPCWSTR directory, PULARGE_INTEGER available, PULARGE_INTEGER total,
                                   PULARGE_INTEGER total_free) ZDR_NOEXCEPT;

// `module` is any address inside a loaded module, null the executable. Returns the length without NUL; a
// short buffer is filled, terminated and reported as `size` with 122; 0 with 126 when no module covers the
// address.
ZDR_WIN32 DWORD GetModuleFileNameW(HMODULE module, LPWSTR buffer, DWORD size) ZDR_NOEXCEPT;

#endif
