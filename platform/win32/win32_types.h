// Scalar types, handles, GUID and calling-convention macros of the platform, for Linux.
// LONG and DWORD have 32 bits, although `long` has 64 in a 64-bit program, so overriding methods must
// use LONG. WCHAR is a UTF-16 unit; literals are u"..." or WIDE("...").
#ifndef ZDR_WIN32_TYPES_H
#define ZDR_WIN32_TYPES_H

#include <stddef.h>
#include <stdint.h>
#ifndef __cplusplus
#include <uchar.h>
#endif

#include "winerror.h"

// Exported from the one shared runtime; everything else in it stays hidden.
#define ZDR_PLATFORM_API __attribute__((visibility("default")))

#ifdef __cplusplus
#define ZDR_EXTERN_C extern "C"
#define ZDR_NOEXCEPT noexcept
#else
#define ZDR_EXTERN_C
#define ZDR_NOEXCEPT
#endif

// Precedes the declaration of every function of the runtime.
#define ZDR_WIN32 ZDR_EXTERN_C ZDR_PLATFORM_API

typedef uint8_t BYTE, UCHAR;
typedef uint16_t WORD, USHORT;
typedef uint32_t DWORD, ULONG, UINT;
typedef int32_t INT, LONG, BOOL;
typedef int64_t LONGLONG, LONG64;
typedef uint64_t ULONGLONG, DWORDLONG;
typedef LONGLONG REFERENCE_TIME;  // in 100 ns
typedef double REFTIME;           // in seconds
typedef intptr_t LONG_PTR, INT_PTR;
typedef uintptr_t ULONG_PTR, DWORD_PTR, UINT_PTR;
typedef size_t SIZE_T;
typedef char CHAR;
typedef char16_t WCHAR, OLECHAR, TCHAR;
typedef void* LPVOID;
typedef const void* LPCVOID;
typedef CHAR* LPSTR;
typedef const CHAR* LPCSTR;
typedef WCHAR *LPWSTR, *LPOLESTR;
typedef const WCHAR *LPCWSTR, *LPCOLESTR, *LPCTSTR;
typedef BYTE* LPBYTE;
typedef BOOL* LPBOOL;
typedef DWORD* LPDWORD;
typedef LONG* PLONG;
typedef void *HANDLE, *HMODULE, *HINSTANCE, *HKEY;
typedef DWORD_PTR HSEMAPHORE, HEVENT;

// The unnamed struct overlays the two words of the quantity, low word first.
typedef union _ULARGE_INTEGER {
  __extension__ struct {
    DWORD LowPart;
    DWORD HighPart;
  };
  ULONGLONG QuadPart;
} ULARGE_INTEGER, *PULARGE_INTEGER;

typedef struct tagRECT {
  LONG left;
  LONG top;
  LONG right;
  LONG bottom;
} RECT;

typedef struct _SECURITY_ATTRIBUTES {
  DWORD nLength;
  LPVOID lpSecurityDescriptor;
  BOOL bInheritHandle;
} SECURITY_ATTRIBUTES, *LPSECURITY_ATTRIBUTES;

typedef struct _OVERLAPPED* LPOVERLAPPED;  // no function takes one

typedef struct _GUID {
  uint32_t Data1;
  uint16_t Data2;
  uint16_t Data3;
  uint8_t Data4[8];
} GUID;
typedef GUID IID;
typedef GUID CLSID;

#ifdef __cplusplus
#define REFGUID const GUID&
#define REFIID const IID&
#define REFCLSID const CLSID&

constexpr bool operator==(const GUID& a, const GUID& b) noexcept {
  if (a.Data1 != b.Data1 || a.Data2 != b.Data2 || a.Data3 != b.Data3) return false;
  for (int i = 0; i < 8; ++i) {
    if (a.Data4[i] != b.Data4[i]) return false;
  }
  return true;
}
constexpr bool operator!=(const GUID& a, const GUID& b) noexcept {
  return !(a == b);
}

namespace zdr {
// A size or an offset of a record with pointers, in a 64-bit and in a 32-bit program.
constexpr size_t by_width(size_t in_64_bits, size_t in_32_bits) noexcept {
  return sizeof(void*) == 8 ? in_64_bits : in_32_bits;
}
}  // namespace zdr

static_assert(sizeof(WCHAR) == 2 && sizeof(LONG) == 4 && sizeof(HANDLE) == sizeof(void*));
static_assert(sizeof(GUID) == 16 && alignof(GUID) == 4);
static_assert(sizeof(ULARGE_INTEGER) == 8);
#else
#define REFGUID const GUID*
#define REFIID const IID*
#define REFCLSID const CLSID*
#endif

#define FALSE 0
#define TRUE 1
#define MAX_PATH 260
#define INFINITE 0xFFFFFFFFu
#define INVALID_HANDLE_VALUE ((HANDLE)(intptr_t)-1)

#define WIDE(literal) u##literal

// The only calling convention here.
#define WINAPI
#define STDAPI ZDR_EXTERN_C HRESULT

#endif
