// The registry: keys with values, one store for the user, in a text file that the environment names.
//
// Every function returns its error code and leaves the last error alone. Names are compared without regard to
// the case of ASCII and Latin-1 letters and keep the case of their creation. A key name has at most 255
// characters and no control characters, a value name at most 16,383 characters, a path at most 512 levels.
// Any thread may call; each call is one step that other threads and processes see as a whole or not at all.
//
// Besides the codes listed with each function, all of them may return ERROR_INVALID_HANDLE 6,
// ERROR_INVALID_PARAMETER 87, ERROR_NOT_ENOUGH_MEMORY 8, ERROR_KEY_DELETED 1018 for a handle whose key is
// gone, ERROR_BADDB 1009 for a store that cannot be parsed (which is then never rewritten), and the code of a
// failed file operation. A call that fails has changed nothing. Reserved and class arguments must be 0 or
// null where a function would return something through them, and have no effect elsewhere.
#ifndef ZDR_WIN32_REGISTRY_H
#define ZDR_WIN32_REGISTRY_H

#include "win32_types.h"

typedef LONG LSTATUS;
typedef DWORD REGSAM;

// Predefined keys, which are always open.
#define HKEY_CLASSES_ROOT ((HKEY)(intptr_t)(int32_t)0x80000000u)
#define HKEY_CURRENT_USER ((HKEY)(intptr_t)(int32_t)0x80000001u)
#define HKEY_LOCAL_MACHINE ((HKEY)(intptr_t)(int32_t)0x80000002u)
#define HKEY_USERS ((HKEY)(intptr_t)(int32_t)0x80000003u)
#define HKEY_CURRENT_CONFIG ((HKEY)(intptr_t)(int32_t)0x80000005u)

// Types of values.
#define REG_NONE 0u
#define REG_SZ 1u
#define REG_EXPAND_SZ 2u
#define REG_BINARY 3u
#define REG_DWORD 4u
#define REG_MULTI_SZ 7u
#define REG_QWORD 11u

#define REG_OPTION_NON_VOLATILE 0u
#define REG_CREATED_NEW_KEY 1u
#define REG_OPENED_EXISTING_KEY 2u

#define KEY_QUERY_VALUE 0x1u
#define KEY_SET_VALUE 0x2u
#define KEY_READ 0x20019u
#define KEY_WRITE 0x20006u
#define KEY_ALL_ACCESS 0xF003Fu

// HKEY_CLASSES_ROOT shows HKEY_CURRENT_USER\Software\Classes laid over HKEY_LOCAL_MACHINE\SOFTWARE\Classes: a
// new key is made in the latter, a value is set in the former when the key exists there.

// Makes `sub_key` with every missing level above it (at most 32 new ones), or opens it. "" opens `key` again.
// Failures: 87 null, or a new level directly below HKEY_LOCAL_MACHINE or HKEY_USERS; ERROR_BAD_PATHNAME 161 a
// leading or doubled backslash. `class_name`, `options` and `security` have no effect. *disposition (null
// allowed) receives REG_CREATED_NEW_KEY or REG_OPENED_EXISTING_KEY. The caller closes the key with
// RegCloseKey.
ZDR_WIN32 LSTATUS RegCreateKeyExW(HKEY key, LPCWSTR sub_key, DWORD reserved, LPWSTR class_name, DWORD options,
                                  REGSAM access, LPSECURITY_ATTRIBUTES security, HKEY* result,
                                  LPDWORD disposition) ZDR_NOEXCEPT;
// ERROR_FILE_NOT_FOUND 2 for a missing key. A null `sub_key` is "".
ZDR_WIN32 LSTATUS RegOpenKeyExW(HKEY key, LPCWSTR sub_key, DWORD options, REGSAM access,
                                HKEY* result) ZDR_NOEXCEPT;
// Has no effect on the predefined keys.
ZDR_WIN32 LSTATUS RegCloseKey(HKEY key) ZDR_NOEXCEPT;

// `bytes` counts the terminating NUL of text; data is stored as given. A null or empty name is the default
// value. ERROR_ACCESS_DENIED 5 for a key opened without KEY_SET_VALUE, ERROR_NOACCESS 998 for null data with
// a nonzero length, ERROR_NO_SYSTEM_RESOURCES 1450 when the store would become too large.
ZDR_WIN32 LSTATUS RegSetValueExW(HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data,
                                 DWORD bytes) ZDR_NOEXCEPT;
// ERROR_FILE_NOT_FOUND 2 for a missing value; ERROR_MORE_DATA 234, with the size needed in *bytes, for a
// buffer that is too small; 5 for a key opened without KEY_QUERY_VALUE. A null `data` requests only type and
// size. Text is returned as it was stored, so its NUL may be missing.
ZDR_WIN32 LSTATUS RegQueryValueExW(HKEY key, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data,
                                   LPDWORD bytes) ZDR_NOEXCEPT;

// Deletes one key with its values: ERROR_ACCESS_DENIED 5 while it has sub keys, and for permanent keys.
ZDR_WIN32 LSTATUS RegDeleteKeyW(HKEY key, LPCWSTR sub_key) ZDR_NOEXCEPT;
// Deletes a key with everything below it; 87 for a null or empty `sub_key`.
ZDR_WIN32 LSTATUS RegDeleteTreeW(HKEY key, LPCWSTR sub_key) ZDR_NOEXCEPT;

#endif
