// Conversion between code pages and UTF-16, and the small wide-string helpers.
#pragma once

#include "win32_types.h"

#define CP_ACP 0u    // windows-1252
#define CP_OEMCP 1u  // same page as CP_ACP here
#define CP_UTF8 65001u
#define MB_PRECOMPOSED 1u
#define MB_ERR_INVALID_CHARS 8u
#define WC_ERR_INVALID_CHARS 0x80u
#define WC_NO_BEST_FIT_CHARS 0x400u

// byte_count -1: NUL-terminated, and the NUL is converted and counted. wide_size 0: only counts.
// Failures (0): 87 bad argument or code page, 122 too small (what fits is written, nothing beyond), 1004 bad
// flags, 1113 ill-formed input with MB_ERR_INVALID_CHARS (without it each bad sequence gives U+FFFD).
ZDR_WIN32 int MultiByteToWideChar(UINT code_page, DWORD flags, LPCSTR bytes, int byte_count, LPWSTR wide,
                                  int wide_size) ZDR_NOEXCEPT;
// The mirror image. For CP_UTF8 default_char and used_default must be NULL; a lone surrogate becomes U+FFFD,
// or fails with 1113 under WC_ERR_INVALID_CHARS. For CP_ACP unmappable characters become *default_char or
// '?'.
ZDR_WIN32 int WideCharToMultiByte(UINT code_page, DWORD flags, LPCWSTR wide, int wide_count, LPSTR bytes,
                                  int byte_size, LPCSTR default_char, LPBOOL used_default) ZDR_NOEXCEPT;

ZDR_WIN32 int lstrlenA(LPCSTR text) ZDR_NOEXCEPT;   // 0 for NULL
ZDR_WIN32 int lstrlenW(LPCWSTR text) ZDR_NOEXCEPT;  // 0 for NULL
// By code unit: negative, 0, positive. lstrcmpiW folds ASCII and Latin-1 letters.
ZDR_WIN32 int lstrcmpW(LPCWSTR a, LPCWSTR b) ZDR_NOEXCEPT;
ZDR_WIN32 int lstrcmpiW(LPCWSTR a, LPCWSTR b) ZDR_NOEXCEPT;
// Copies at most size - 1 units and always terminates (size >= 1); returns target, NULL for a NULL argument.
ZDR_WIN32 LPWSTR lstrcpynW(LPWSTR target, LPCWSTR source, int size) ZDR_NOEXCEPT;
// As lstrcpynW, but tells truncation: STRSAFE_E_INSUFFICIENT_BUFFER; E_INVALIDARG for size 0 or above
// INT32_MAX.
ZDR_WIN32 HRESULT StringCchCopyW(LPWSTR target, size_t size, LPCWSTR source) ZDR_NOEXCEPT;
// Decimal number at the start of the text after blanks, saturating; 0 when there is none.
ZDR_WIN32 int _wtoi(LPCWSTR text) ZDR_NOEXCEPT;
