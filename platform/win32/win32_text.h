// Conversion between code pages and UTF-16, and small helpers for wide strings.
#ifndef ZDR_WIN32_TEXT_H
#define ZDR_WIN32_TEXT_H

#include "win32_types.h"

#define CP_ACP 0u  // windows-1252
#define CP_UTF8 65001u

// byte_count -1: the text is NUL-terminated, and the NUL is converted and counted. wide_size 0: only counts.
// Each ill-formed UTF-8 sequence gives U+FFFD. Returns the number of units, 0 on failure: 87 bad argument or
// code page, 122 too small (what fits is written, nothing beyond), 1004 any flag.
ZDR_WIN32 int MultiByteToWideChar(UINT code_page, DWORD flags, LPCSTR bytes, int byte_count, LPWSTR wide,
                                  int wide_size) ZDR_NOEXCEPT;
// The reverse, for CP_UTF8 only; a lone surrogate gives U+FFFD. 87 for a default_char or used_default.
ZDR_WIN32 int WideCharToMultiByte(UINT code_page, DWORD flags, LPCWSTR wide, int wide_count, LPSTR bytes,
                                  int byte_size, LPCSTR default_char, LPBOOL used_default) ZDR_NOEXCEPT;

// 0 for null.
ZDR_WIN32 int lstrlenW(LPCWSTR text) ZDR_NOEXCEPT;
// Copies at most size - 1 units and always terminates (size >= 1). Returns the target, null for a null
// argument.
ZDR_WIN32 LPWSTR lstrcpynW(LPWSTR target, LPCWSTR source, int size) ZDR_NOEXCEPT;
// The decimal number after blanks at the start of the text, saturating; 0 if there is none.
ZDR_WIN32 int _wtoi(LPCWSTR text) ZDR_NOEXCEPT;

#endif
